// SPDX-License-Identifier: MIT
#include "devserver/Encoding.h"
#include "devserver/Envelope.h"
#include "devserver/program/DemoSession.h"
#include "devserver/program/Files.h"
#include "tests/devserver/SharedOutput.h"
#include "tests/devserver/TestClient.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <thread>

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace devserver::test {
namespace {

namespace json = boost::json;

std::string contentOf(const std::string& path) {
    std::string error;
    return readFile(path, error).value_or("(" + error + ")");
}

/// The DER bytes of some certificate.
std::string someCertificate() {
    std::string error;
    const std::string pem = CertificateAuthority::make({}, error)->certificatePem();
    std::string body = pem.substr(pem.find('\n'), pem.rfind("\n-----END") - pem.find('\n'));
    std::erase(body, '\n');
    return base64Decoded(body).value_or("");
}

class DemoTest : public testing::Test {
protected:
    DemoTest() {
        options.pdf = DEVSERVER_SAMPLES "/contract.pdf";
        options.xml = DEVSERVER_SAMPLES "/signed-info.xml";
        options.out = testing::TempDir() + "devserver-demo-"
            + testing::UnitTest::GetInstance()->current_test_info()->name();
        options.timeout = std::chrono::seconds(20);
    }
    ~DemoTest() override { std::filesystem::remove_all(options.out); }

    /// Joins as an agent and answers each command, with `changes` put into the payloads of the
    /// answers, until there is no connection any more.
    void actAsAgent(const json::object& changes) {
        ASSERT_TRUE(output.waitFor("\n\n", patience)) << output.text();
        const auto port = static_cast<std::uint16_t>(
            std::stoi(output.valueOf("link       quillet://localhost:")));
        TestClient client;
        ASSERT_TRUE(client.join(port, contentOf(options.out + "/ca.pem"), "demo")) << client.error;
        while (const std::optional<stomp::Frame> frame = client.receive()) {
            const json::object request = parsedJson(frame->body).value_or(nullptr).as_object();
            if (request.at("command") == "TERMINATE_CLIENT") {
                client.close();
                return;
            }
            client.sendEnvelope("demo", answerTo(request, changes));
        }
    }

    std::string answerTo(const json::object& request, const json::object& changes) {
        const std::string command(request.at("command").as_string());
        if (command == "SERVER_CONNECT") {
            return R"({"command":"CLIENT_CONNECT","payload":null,"requestId":null})";
        }
        if (command == "GET_DIAGNOSTICS") {
            return R"({"command":"DIAGNOSTICS","payload":{"os":"macOS","version":"6.1.0"}})";
        }
        if (command == "LIST_CERTIFICATES") {
            return envelopeText("CERTIFICATE_LIST", json::value(base64Encoded(list)), nullptr);
        }
        json::object payload = request.at("payload").as_object();
        EXPECT_EQ(payload["certificateDigest"], json::value(digest));
        EXPECT_EQ(payload["signatureAlgorithm"], "SHA256withRSA");
        payload["signature"] = base64Encoded("signature of " + command);
        payload["certificate"] = base64Encoded(certificate);
        payload["requestId"] = request.at("requestId");
        for (const auto& [key, value] : changes) {
            payload[key] = value;
        }
        return envelopeText(command + "_RESPONSE", payload, request.at("requestId"));
    }

    int run(const json::object& changes = {}) {
        std::thread agent([&] { actAsAgent(changes); });
        const int status = runSignDemo(options, output, errors);
        agent.join();
        return status;
    }

    int runAlone() { return runSignDemo(options, output, errors); }

    DemoOptions options;
    SharedOutput output;
    SharedOutput errors;
    std::string certificate = someCertificate();
    std::string digest = base64Encoded(sha1(certificate));
    std::string list = json::serialize(
        json::array{json::object{{"name", "First"}, {"certificateDigest", digest}},
            json::object{{"name", "Second"}, {"certificateDigest", "x"}}});
};

TEST_F(DemoTest, WholeSessionLeavesItsResults) {
    ASSERT_EQ(run(), 0) << errors.text() << output.text();
    EXPECT_EQ(contentOf(options.out + "/certificates.json"), list);
    EXPECT_EQ(contentOf(options.out + "/certificate.pem"), certificatePemOfDer(certificate));
    EXPECT_EQ(contentOf(options.out + "/pdf.signature.bin"), "signature of SIGN_PDF");
    EXPECT_EQ(contentOf(options.out + "/xml.signature.bin"), "signature of SIGN_XML");
    const std::string log = contentOf(options.out + "/messages.log");
    for (const char* part : {"to agent    {\"command\":\"SERVER_CONNECT\"}",
             "from agent  {\"command\":\"DIAGNOSTICS\"", "{\"command\":\"SIGN_PDF_RESPONSE\"",
             "\"requestId\":\"SIGN_XML-2\"", "{\"command\":\"TERMINATE_CLIENT\"}"}) {
        EXPECT_NE(log.find(part), std::string::npos) << part << " in " << log;
    }
}

TEST_F(DemoTest, TableHasAlignedColumns) {
    ASSERT_EQ(run(), 0) << errors.text();
    const std::string text = output.text();
    for (const char* row : {"\nstep                      outcome  time (ms)  note\n",
             "\nagent joins the room      ok       ", "\nSERVER_CONNECT            ok       ",
             "\nGET_DIAGNOSTICS           ok       ", "\nLIST_CERTIFICATES         ok       ",
             "\nSIGN_PDF                  ok       ", "\nSIGN_XML                  ok       ",
             "\nTERMINATE_CLIENT          ok       "}) {
        EXPECT_NE(text.find(row), std::string::npos) << row << " in " << text;
    }
    EXPECT_NE(text.find("  2 certificates, first: First\n"), std::string::npos);
    EXPECT_NE(text.find("  macOS 6.1.0\n"), std::string::npos);
}

TEST_F(DemoTest, WrongAnswersFailTheirStep) {
    const std::map<std::string, json::object> failures = {
        {"the answer does not carry the same pdfToSign", {{"pdfToSign", "AAAA"}}},
        {"the answer does not carry the same xmlSignedInfo", {{"xmlSignedInfo", "<a/>"}}},
        {"the answer does not carry the requestId of the request", {{"requestId", 1}}},
        {"the agent could not sign: the answer carries no signature", {{"signature", nullptr}}},
        {"the answer does not carry the certificate that was asked for", {{"certificate", "AAAA"}}},
    };
    for (const auto& [sentence, changes] : failures) {
        EXPECT_EQ(run(changes), 1);
        EXPECT_TRUE(errors.waitFor(sentence, 0ms)) << sentence << " in " << errors.text();
        EXPECT_NE(output.text().find("  FAILED   "), std::string::npos);
        output.clearText();
    }
}

TEST_F(DemoTest, AgentWithoutCertificatesFailsTheList) {
    list = "[]";
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: step \"LIST_CERTIFICATES\" failed: the agent has no certificate to "
        "sign with\n");
}

TEST_F(DemoTest, NoAgentInTimeFails) {
    options.timeout = std::chrono::seconds(1);
    EXPECT_EQ(runAlone(), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: step \"agent joins the room\" failed: no agent joined in time\n");
}

TEST_F(DemoTest, UnreadableDocumentFailsBeforeAnythingStarts) {
    options.pdf = "/no such file";
    EXPECT_EQ(runAlone(), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: /no such file cannot be read: No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(options.out));
}

TEST_F(DemoTest, AgentIsStartedWithLinkAuthorityAndArguments) {
    const std::string program = testing::TempDir() + "devserver-agent.sh";
    ASSERT_TRUE(writeFile(
        program, "#!/bin/sh\necho \"$1|$2|$SSL_CERT_FILE|$(cat)\"\necho trouble >&2\nexit 3\n"));
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    options.agent = program;
    options.agentArguments = {"--more"};
    EXPECT_EQ(runAlone(), 1);
    std::filesystem::remove(program);
    EXPECT_TRUE(errors.waitFor("it never joined; the agent ended with status 3", 0ms))
        << errors.text();
    EXPECT_EQ(contentOf(options.out + "/agent-output.txt"),
        output.valueOf("link       ") + "|--more|" + options.out + "/ca.pem|\n");
    EXPECT_EQ(contentOf(options.out + "/agent-errors.txt"), "trouble\n");
}

TEST_F(DemoTest, AgentThatCannotBeStartedIsTold) {
    options.agent = "/no such agent";
    EXPECT_EQ(runAlone(), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: /no such agent cannot be started: No such file or directory\n");
}

int statusOf(const std::string& arguments) {
    const int status
        = std::system(("'" DEVSERVER_PROGRAM "' " + arguments + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProgramTest, StatusTellsBadUsageFromFailure) {
    EXPECT_EQ(statusOf("--help"), 0);
    EXPECT_EQ(statusOf("--version"), 0);
    EXPECT_EQ(statusOf(""), 2);
    EXPECT_EQ(statusOf("serve --port x"), 2);
    EXPECT_EQ(statusOf("sign-demo --pdf /none --xml /none --out /none"), 1);
    EXPECT_EQ(statusOf("sign-demo --pdf /none --xml /none"), 2);
}

} // namespace
} // namespace devserver::test
