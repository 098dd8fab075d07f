// SPDX-License-Identifier: MIT
#include "devserver/program/SignCommand.h"

#include "devserver/session/Doorkeeper.h"
#include "tests/devserver/SharedOutput.h"
#include "tests/devserver/TestAgent.h"
#include "tests/documents/Verifiers.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <thread>

#include <gmock/gmock.h>
#include <sys/wait.h>

namespace devserver::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class SignCommandTest : public testing::Test {
protected:
    SignCommandTest() {
        options.tasks = {{DocumentKind::pdf, DEVSERVER_SAMPLES "/contract.pdf", path("signed.pdf")},
            {DocumentKind::xml, DEVSERVER_SAMPLES "/order.xml", path("signed.xml")}};
        options.certificate = "first";
        options.authorityFolder = path("authority");
        options.room = "room";
        options.timeout = 60s;
    }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::uint16_t port() {
        EXPECT_TRUE(output.waitFor("agent      ", patience)) << output.text() << errors.text();
        return static_cast<std::uint16_t>(
            std::stoi(output.valueOf("link       quillet://localhost:")));
    }
    std::string authority() const { return contentOf(folder / "authority/authority.pem"); }

    /// Runs the command while an agent of that manner joins.
    int run(const TestAgent::Manner& manner = {}) {
        output.clearText();
        errors.clearText();
        std::thread joining([&] {
            const std::uint16_t where = port(); // the authority is there by then
            agent.start(where, authority(), "room", manner);
        });
        const int status = runSign(options, output, errors);
        joining.join();
        agent.finish();
        return status;
    }

    int runAlone() { return runSign(options, output, errors); }

    TemporaryFolder folder;
    SignOptions options;
    SharedOutput output;
    SharedOutput errors;
    TestAgent agent;
};

TEST_F(SignCommandTest, FilesAreSignedInOneSession) {
    options.log = path("messages.log");
    ASSERT_EQ(run(), 0) << errors.text() << output.text();
    const std::string pdf = contentOf(path("signed.pdf"));
    EXPECT_THAT(pdfsig(pdf).validations, ElementsAre("Signature is Valid."));
    EXPECT_EQ(opensslCms(pdf, agent.signer()).status, 0);
    EXPECT_EQ(xmlsec1(contentOf(path("signed.xml")), agent.signer()).status, 0);
    EXPECT_THAT(output.text(), HasSubstr("\nSigned:\n  " + path("signed.pdf") + "\n"));
    const std::string log = contentOf(path("messages.log"));
    for (const char* part : {"to agent    {\"command\":\"SERVER_CONNECT\"}",
             "from agent  {\"command\":\"DIAGNOSTICS\"", "{\"command\":\"SIGN_PDF_RESPONSE\"",
             "\"requestId\":\"SIGN_XML-3\"", "{\"command\":\"TERMINATE_CLIENT\"}"}) {
        EXPECT_THAT(log, HasSubstr(part));
    }
}

TEST_F(SignCommandTest, TableHasARowForEachStep) {
    ASSERT_EQ(run(), 0) << errors.text();
    for (const char* row : {"\nstep                      outcome  time (ms)  note\n",
             "\nagent joins the room      ok       ", "\ngreeting                  ok       ",
             "\ndiagnostics               ok       ", "\ncertificates              ok       ",
             "\nsign contract.pdf         ok       ", "\nsign order.xml            ok       ",
             "\nagent is told to end      ok       ", "  2 certificates, chosen: First\n",
             "  macOS 14.1.0\n"}) {
        EXPECT_THAT(output.text(), HasSubstr(row));
    }
}

TEST_F(SignCommandTest, CertificateIsChosenByItsDigest) {
    options.certificate = agent.digest();
    EXPECT_EQ(run(), 0) << errors.text();
    options.certificate = "unknown";
    EXPECT_EQ(run(), 1);
    EXPECT_THAT(errors.text(),
        HasSubstr("step \"certificates\" failed: the agent has no certificate unknown, but these:\n"
                  "  "
            + agent.digest() + "  First\n  another  Second\n"));
}

TEST_F(SignCommandTest, WrongAnswersFailTheirStep) {
    const TestSigner other;
    const std::map<std::string, boost::json::object> failures = {
        {"the answer does not carry the requestId of the request", {{"requestId", 1}}},
        {"the answer does not carry the same pdfToSign as the request", {{"pdfToSign", "AAAA"}}},
        {"the agent could not sign: the answer carries no signature", {{"signature", nullptr}}},
        {"the answer does not carry the certificate that was asked for", {{"certificate", "AAAA"}}},
        {"the signature is not one of what was sent, by the certificate's key",
            {{"signature", "AAAA"}}},
    };
    for (const auto& [sentence, changes] : failures) {
        EXPECT_EQ(run({.changes = changes}), 1);
        EXPECT_THAT(errors.text(), HasSubstr("step \"sign contract.pdf\" failed: " + sentence));
        EXPECT_THAT(output.text(), HasSubstr("  FAILED   "));
        EXPECT_FALSE(std::filesystem::exists(path("signed.pdf")));
    }
}

TEST_F(SignCommandTest, DocumentIsSentAndComesBackWhenAskedFor) {
    options.tasks.pop_back();
    options.sendDocuments = true;
    options.log = path("messages.log");
    ASSERT_EQ(run(), 0) << errors.text();
    EXPECT_THAT(contentOf(path("messages.log")), HasSubstr("\"pdfToSign\":\"JVBERi0x"));
    EXPECT_EQ(run({.changes = {{"pdfToSign", nullptr}}}), 1);
    EXPECT_THAT(errors.text(), HasSubstr("does not carry the same pdfToSign as the request"));
}

TEST_F(SignCommandTest, AgentThatLeavesInTheMiddleFailsTheStep) {
    EXPECT_EQ(run({.leavesAt = "SIGN_XML"}), 1);
    EXPECT_THAT(errors.text(),
        HasSubstr("step \"sign order.xml\" failed: the agent left before SIGN_XML_RESPONSE came"));
}

TEST_F(SignCommandTest, AgentThatIsGivenTheLinkAgainGoesOnWithWhatIsLeft) {
    TestAgent again;
    std::thread joining([&] {
        const std::uint16_t where = port();
        agent.start(where, authority(), "room", {.leavesAt = "SIGN_XML"});
        agent.finish();
        again.start(where, authority(), "room");
    });
    EXPECT_EQ(runAlone(), 0) << errors.text() << output.text();
    joining.join();
    EXPECT_EQ(again.finish(), "");
    EXPECT_THAT(
        output.text(), HasSubstr("The agent was given the link again; the session begins anew.\n"));
    EXPECT_EQ(opensslCms(contentOf(path("signed.pdf")), agent.signer()).status, 0);
    EXPECT_EQ(xmlsec1(contentOf(path("signed.xml")), again.signer()).status, 0);
}

TEST_F(SignCommandTest, AgentWithoutCertificatesFailsTheList) {
    EXPECT_EQ(run({.hasCertificates = false}), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: step \"certificates\" failed: the agent has no certificate to sign "
        "with\n");
}

TEST_F(SignCommandTest, NoAgentInTimeFails) {
    options.timeout = 1s;
    EXPECT_EQ(runAlone(), 1);
    EXPECT_EQ(errors.text(),
        "quillet-devserver: step \"agent joins the room\" failed: no agent joined in time\n");
}

TEST_F(SignCommandTest, OtherRoomsAndSecondAgentsAreTurnedAway) {
    TestAgent second;
    std::thread joining([&] {
        const std::uint16_t where = port();
        second.start(where, authority(), "elsewhere");
        EXPECT_THAT(second.finish(),
            HasSubstr("Unknown room: The server has no room \"elsewhere\". Use the link"));
        // The first agent answers nothing until it has seen the second one go.
        TestClient first;
        ASSERT_TRUE(first.join(where, authority(), "room"));
        ASSERT_TRUE(first.receive());
        second.start(where, authority(), "room");
        EXPECT_THAT(
            second.finish(), StartsWith("Room is taken: Another agent is in the room already. "));
        first.drop();
    });
    EXPECT_EQ(runAlone(), 1);
    joining.join();
    EXPECT_THAT(output.text(),
        HasSubstr("An agent asked for the room \"elsewhere\" instead of \"room\" and was turned "
                  "away.\n"));
    EXPECT_THAT(
        output.text(), HasSubstr("A second agent asked for the room and was turned away.\n"));
}

TEST_F(SignCommandTest, DocumentsThatCannotBeSignedFailBeforeAnythingStarts) {
    writeFile(folder / "text.pdf", "text");
    writeFile(folder / "large.pdf", "%PDF-1.7\n");
    std::filesystem::resize_file(folder / "large.pdf", std::uintmax_t{600} << 20); // sparse
    writeFile(folder / "not.xml", "<a>");
    const std::map<std::string, std::string> failures = {
        {"/no such file", "/no such file cannot be read: No such file or directory\n"},
        {path("text.pdf"), path("text.pdf") + " cannot be signed: this is not a PDF\n"},
        {path("large.pdf"),
            path("large.pdf") + " cannot be signed: the file is larger than 512 MiB\n"},
    };
    for (const auto& [in, sentence] : failures) {
        options.tasks[0].in = in;
        EXPECT_EQ(runAlone(), 1);
        EXPECT_THAT(errors.text(), HasSubstr("quillet-devserver: " + sentence));
    }
    options.tasks = {{DocumentKind::xml, path("not.xml"), path("out")}};
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("cannot be signed: this is not an XML document: line 1"));
    EXPECT_EQ(output.text(), "");
}

TEST_F(SignCommandTest, OutputThatCannotBeWrittenFailsBeforeAnythingStarts) {
    writeFile(folder / "file", "");
    const std::map<std::string, std::string> failures = {
        {path("no folder/out"), ": No such file or directory\n"},
        {path("file/out"), ": Not a directory\n"},
        {path("."), ": Is a directory\n"},
    };
    for (const auto& [out, cause] : failures) {
        options.tasks[0].out = out;
        EXPECT_EQ(runAlone(), 1);
        EXPECT_THAT(errors.text(), HasSubstr(out + " cannot be written" + cause));
    }
    EXPECT_EQ(output.text(), "");
}

TEST_F(SignCommandTest, TwoSignedFilesCannotHaveOneName) {
    options.tasks[1].out = path("./signed.pdf");
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("two signed files cannot have one name: "));
    writeFile(folder / "signed.pdf", "");
    std::filesystem::create_symlink(path("signed.pdf"), path("link"));
    options.tasks[1].out = path("link");
    EXPECT_EQ(runAlone(), 1);
    EXPECT_EQ(output.text(), "");
}

TEST_F(SignCommandTest, SignedFileTakesThePlaceOfTheDocument) {
    writeFile(folder / "here.pdf", contentOf(DEVSERVER_SAMPLES "/contract.pdf"));
    std::filesystem::permissions(folder / "here.pdf", std::filesystem::perms(0640));
    std::filesystem::create_symlink(path("here.pdf"), path("link.pdf"));
    options.tasks = {{DocumentKind::pdf, path("here.pdf"), path("link.pdf")}};
    ASSERT_EQ(run(), 0) << errors.text();
    EXPECT_THAT(
        pdfsig(contentOf(path("here.pdf"))).validations, ElementsAre("Signature is Valid."));
    EXPECT_TRUE(std::filesystem::is_symlink(path("link.pdf")));
    EXPECT_EQ(
        std::filesystem::status(path("here.pdf")).permissions(), std::filesystem::perms(0640));
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
    }
}

TEST_F(SignCommandTest, DamagedDocumentIsSignedOnRequest) {
    std::string damaged = contentOf(DEVSERVER_SAMPLES "/contract.pdf");
    damaged.insert(damaged.find('\n') + 1, "% all has moved\n");
    writeFile(folder / "damaged.pdf", damaged);
    options.tasks = {{DocumentKind::pdf, path("damaged.pdf"), path("signed.pdf")}};
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("cannot be signed: the PDF is damaged: "));
    EXPECT_THAT(errors.text(), HasSubstr("\nWith --repair it is written anew first"));
    options.repair = true;
    ASSERT_EQ(run(), 0) << errors.text();
    EXPECT_THAT(
        pdfsig(contentOf(path("signed.pdf"))).validations, ElementsAre("Signature is Valid."));
}

TEST_F(SignCommandTest, PasswordComesFromAFile) {
    const Outcome made = ::run(
        "qpdf --encrypt secret owner 256 -- " DEVSERVER_SAMPLES "/contract.pdf " + path("in.pdf"));
    ASSERT_EQ(made.status, 0) << made.output;
    options.tasks = {{DocumentKind::pdf, path("in.pdf"), path("signed.pdf")}};
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("the PDF is encrypted, and this is not its password"));
    options.passwordFile = path("none");
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("the password cannot be read from " + path("none")));
    writeFile(folder / "password", "secret\r\nmore");
    options.passwordFile = path("password");
    ASSERT_EQ(run(), 0) << errors.text();
    EXPECT_THAT(pdfsig(contentOf(path("signed.pdf")), "secret").validations,
        ElementsAre("Signature is Valid."));
}

TEST_F(SignCommandTest, AgentIsStartedWithLinkAuthorityAndArguments) {
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr); // no terminal, whoever runs this
    writeFile(folder / "agent.sh",
        "#!/bin/sh\necho \"$1|$2|$SSL_CERT_FILE|$(cat)\" >" + path("called") + "\nexit 3\n");
    std::filesystem::permissions(folder / "agent.sh", std::filesystem::perms::owner_all);
    options.agent = path("agent.sh");
    options.agentArguments = {"--more"};
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("it never joined; the agent ended with status 3"));
    EXPECT_EQ(contentOf(folder / "called"),
        output.valueOf("link       ") + "|--more|" + path("authority/authority.pem") + "|\n");
    options.agent = "/no such agent";
    EXPECT_EQ(runAlone(), 1);
    EXPECT_THAT(errors.text(), HasSubstr("/no such agent cannot be started: No such file"));
}

TEST_F(SignCommandTest, AgentMayAskForAPasswordInTheTerminal) {
    writeFile(folder / "agent.sh",
        "#!/bin/sh\n[ -t 0 ] && read -r password && echo \"$password\" >" + path("entered")
            + "\nexit 3\n");
    std::filesystem::permissions(folder / "agent.sh", std::filesystem::perms::owner_all);
    const std::string command = "'" DEVSERVER_PROGRAM "' sign --xml '" DEVSERVER_SAMPLES
                                "/order.xml' --out '"
        + path("out") + "' --certificate first --authority '" + path("authority") + "' --agent '"
        + path("agent.sh") + "'";
    // The program `script` gives it a terminal, and enters there what it reads itself.
    EXPECT_NE(
        std::system(("echo secret | script -qec \"" + command + "\" /dev/null >/dev/null").c_str()),
        0);
    EXPECT_EQ(contentOf(folder / "entered"), "secret\n");
}

TEST(ShownTextTest, TextsOfOutsidersFitIntoALine) {
    EXPECT_EQ(shownText("else\nwhere\x7F\xC3\xA4"), "else?where?\xC3\xA4");
    EXPECT_EQ(shownText(std::string(60, 'x')), std::string(60, 'x'));
    EXPECT_EQ(shownText(std::string(59, 'x') + "\xC3\xA4"), std::string(59, 'x') + "...");
}

int statusOf(const std::string& arguments) {
    const int status
        = std::system(("'" DEVSERVER_PROGRAM "' " + arguments + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProgramTest, StatusTellsBadUsageFromFailure) {
    EXPECT_EQ(statusOf("--help"), 0);
    EXPECT_EQ(statusOf("--version"), 0);
    EXPECT_EQ(statusOf("serve"), 2);
    EXPECT_EQ(statusOf("--port x"), 2);
    EXPECT_EQ(statusOf("sign --pdf /none --out /none --certificate first"), 1);
    EXPECT_EQ(statusOf("sign --pdf /none --out /none"), 2);
}

} // namespace
} // namespace devserver::test
