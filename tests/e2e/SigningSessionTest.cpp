// SPDX-License-Identifier: MIT
// The agent doing its job: a session from the link to signatures that OpenSSL accepts.
#include "tests/e2e/SessionTest.h"

#include <sys/utsname.h>

using testing::ElementsAre;
using testing::HasSubstr;

class SigningSession : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        home.makeIdentities(2);
    }
};

TEST_F(SigningSession, WholeSessionAnswersEveryCommandAndEndsWithStatusZero) {
    startSession();

    session->sendCommand("GET_DIAGNOSTICS", json::object{{"ignored", true}}, "d1");
    const json::value diagnostics = receive("DIAGNOSTICS");
    EXPECT_EQ(diagnostics.at("payload").at("os"), "macOS");
    EXPECT_TRUE(diagnostics.at("requestId").is_null());

    const json::array certificates = listCertificates();
    ASSERT_EQ(certificates.size(), 2U);
    EXPECT_EQ(certificates[0].at("name"), "Identity 0001");
    EXPECT_TRUE(certificates[0].at("certificate").is_null());

    const std::string document = "%PDF-1.7 and some bytes \x01\xff";
    json::object request = pdfRequest(document);
    request["pdfToSign"] = base64Of("whole document");
    session->sendCommand("SIGN_PDF", request, "r1");
    const json::value pdf = receive("SIGN_PDF_RESPONSE");
    EXPECT_EQ(pdf.at("requestId"), "r1");
    EXPECT_EQ(pdf.at("payload").at("requestId"), "r1");
    EXPECT_EQ(pdf.at("payload").at("pdfToSign"), json::value(base64Of("whole document")));
    const std::string certificate(pdf.at("payload").at("certificate").as_string());
    EXPECT_TRUE(signatureIsValid(certificate,
        std::string(pdf.at("payload").at("signature").as_string()), document, "SHA256"));
    EXPECT_EQ(base64Of(digestOf(bytesOfBase64(certificate), "SHA1")),
        request["certificateDigest"].as_string());

    const std::string signedInfo = "<ds:SignedInfo>\n  caf\xC3\xA9 \"quoted\"\n</ds:SignedInfo>";
    session->sendCommand("SIGN_XML", xmlRequest(signedInfo), 7);
    const json::value xml = receive("SIGN_XML_RESPONSE");
    EXPECT_EQ(xml.at("payload").at("xmlSignedInfo"), json::value(signedInfo));
    EXPECT_EQ(xml.at("requestId"), 7);
    EXPECT_TRUE(signatureIsValid(std::string(xml.at("payload").at("certificate").as_string()),
        std::string(xml.at("payload").at("signature").as_string()), signedInfo, "SHA256"));

    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
    EXPECT_EQ(agent->log().back(), "TERMINATE_CLIENT received - exiting");
}

TEST_F(SigningSession, StatusLinesTellEveryStepInOrder) {
    startSession();
    listCertificates();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    receive("SIGN_PDF_RESPONSE");
    session->sendCommand("SERVER_DISCONNECT");
    expectEnd({0, 0});
    utsname system{};
    uname(&system);
    EXPECT_THAT(agent->output(), HasSubstr("Starting Quillet version " QUILLET_VERSION ".\n"));
    std::string rest = agent->output();
    rest.erase(0, rest.find("Checking"));
    EXPECT_EQ(rest,
        "Checking for application updates...\n"
        "No application updates found.\n"
        "Connected to Quillet server\n"
        "Listing certificates\n"
        "Listing certificates\n"
        "Signing attachment\n");
}

TEST_F(SigningSession, LogTellsTheWholeSessionInOrder) {
    startSession();
    session->sendCommand("TERMINATE_CLIENT", std::nullopt, "bye");
    expectEnd({0, 0});
    const std::string port = std::to_string(server.port());
    std::vector<std::string> log = agent->log();
    // What REST requests print of data and responses is free.
    std::erase_if(log, [](const std::string& line) {
        return line.starts_with("REST client completion handler running for: data=");
    });
    EXPECT_THAT(log,
        ElementsAre("Starting Quillet version " QUILLET_VERSION ".",
            testing::MatchesRegex("Running on macOS [0-9]+\\.[0-9]+\\.[0-9]+\\."),
            "Command line parameters (2): " QUILLET_AGENT " " + server.link("room-1") + " ",
            "Overriding custom URL with command line URL: " + server.link("room-1"),
            "Checking for application updates...",
            "Starting 'checking for Quillet updates' task and waiting for completion",
            testing::StartsWith("Server REST API response: {"),
            "Task 'checking for Quillet updates' complete with: value=Optional(\"1.0.0\"), "
            "error=nil",
            "Installed Quillet version: " QUILLET_VERSION,
            "Latest available Quillet version: 1.0.0", "No application updates found.",
            "Server: quillet://localhost:" + port, "Room ID: room-1",
            "Connecting to Quillet server localhost:" + port, "Connected to Quillet server",
            "Subscribing to messages on room Optional(\"room-1\")",
            testing::StartsWith("STOMP message received: {\"command\":\"SERVER_CONNECT\""),
            "Processing command: SERVER_CONNECT", "Sending message: CLIENT_CONNECT nil nil",
            testing::StartsWith("STOMP message received: {\"command\":\"TERMINATE_CLIENT\""),
            "Processing command: TERMINATE_CLIENT", "TERMINATE_CLIENT received - exiting"));
    for (const std::string& line : agent->rawLog()) {
        EXPECT_EQ(line.find('\0'), std::string::npos) << line;
    }
}

TEST_F(SigningSession, SubscribesOnceWithTheThreeHeaders) {
    startSession();
    const auto frames = session->subscribeFrames();
    ASSERT_EQ(frames.size(), 1U);
    const auto value = [&](const char* name) {
        const std::string* found = frames[0].headers.find(name);
        return found == nullptr ? std::string("absent") : *found;
    };
    EXPECT_EQ(value("destination"), "/topic/room/room-1");
    EXPECT_EQ(value("x-source"), "zq_client");
    EXPECT_EQ(value("id"), "sub-0");
    EXPECT_EQ(value("client_version"), QUILLET_VERSION);
}

TEST_F(SigningSession, DiagnosticsTellTheRunningSystem) {
    startSession();
    session->sendCommand("GET_DIAGNOSTICS");
    utsname system{};
    uname(&system);
    const std::string version(receive("DIAGNOSTICS").at("payload").at("version").as_string());
    EXPECT_THAT(version, testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
    EXPECT_THAT(std::string(system.release), testing::StartsWith(version));
}

TEST_F(SigningSession, AnyOtherAlgorithmNameSignsTheSha1OfTheSha1) {
    startSession();
    for (const char* name : {"sha256withrsa", "SHA1withRSA", ""}) {
        json::object request = pdfRequest("bytes");
        request["signatureAlgorithm"] = name;
        session->sendCommand("SIGN_PDF", request);
        const json::value answer = receive("SIGN_PDF_RESPONSE").at("payload");
        EXPECT_TRUE(signatureIsValid(std::string(answer.at("certificate").as_string()),
            std::string(answer.at("signature").as_string()), digestOf("bytes", "SHA1"), "SHA1"))
            << name;
    }
}

TEST_F(SigningSession, RequestIdOfEveryKindComesBackEqual) {
    startSession();
    const json::object request = pdfRequest("bytes");
    for (const char* requestId : {"18446744073709551615", "-9223372036854775808", "0.1", "1e300",
             "null", "true", "[1,[2,{\"a\":null}]]", "{\"k\":\"v\"}",
             "\"\\u0000 \\ud83d\\ude00 \xC3\xA9\"", "\"\""}) {
        session->sendEnvelope("{\"command\":\"SIGN_PDF\",\"payload\":" + json::serialize(request)
            + ",\"requestId\":" + requestId + "}");
        const json::value answer = receive("SIGN_PDF_RESPONSE");
        EXPECT_EQ(answer.at("requestId"), json::parse(requestId)) << requestId;
        EXPECT_EQ(answer.at("payload").at("requestId"), json::parse(requestId)) << requestId;
    }
}

TEST_F(SigningSession, IntegerBeyondSixtyFourBitsComesBackDigitForDigit) {
    startSession();
    const std::string digits = "123456789012345678901234567890.000000000000000000001";
    session->sendEnvelope("{\"command\":\"SIGN_PDF\",\"payload\":"
        + json::serialize(pdfRequest("bytes")) + ",\"requestId\":" + digits + "}");
    const auto answer = session->receive(limit);
    ASSERT_TRUE(answer.has_value());
    EXPECT_THAT(answer->text, HasSubstr("\"requestId\":" + digits + "}"));
}

TEST_F(SigningSession, RequestWithoutIdIsAnsweredWithEmptyText) {
    startSession();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    const json::value answer = receive("SIGN_PDF_RESPONSE");
    EXPECT_EQ(answer.at("requestId"), "");
    EXPECT_EQ(answer.at("payload").at("requestId"), "");
    EXPECT_TRUE(answer.at("payload").at("pdfToSign").is_null());
}

TEST_F(SigningSession, SigningAndTerminateInOneBreathStillGetsItsAnswer) {
    startSession();
    json::object request = pdfRequest("bytes");
    request["pdfToSign"] = base64Of(std::string(6 << 20, 'x'));
    const std::string sign = json::serialize(
        json::object{{"command", "SIGN_PDF"}, {"payload", request}, {"requestId", 1}});
    ASSERT_TRUE(session->sendTogether({session->messageFrame(sign),
        session->messageFrame("{\"command\":\"TERMINATE_CLIENT\"}")}));
    EXPECT_EQ(receive("SIGN_PDF_RESPONSE").at("payload").at("pdfToSign"), request["pdfToSign"]);
    expectEnd({0, 0});
}

TEST_F(SigningSession, UnknownCommandsAreIgnoredWithALogLine) {
    startSession();
    session->sendCommand("server_connect");
    session->sendCommand("SERVER_CONNECT", std::nullopt, "again");
    const json::value reply = receive("CLIENT_CONNECT");
    EXPECT_TRUE(reply.at("payload").is_null());
    EXPECT_TRUE(reply.at("requestId").is_null());
    EXPECT_TRUE(logHas("Ignoring command: server_connect"));
}

TEST_F(SigningSession, PathAndRoomAreEncodedInTheTargetAndDecodedInDestinations) {
    startAgent({"quillet://localhost:" + std::to_string(server.port())
        + "/my%20app/%C3%A9?x=1&roomId=a%20b+c%25&roomId=second"});
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    EXPECT_EQ(session->upgradeRequest().target, "/my%20app/%C3%A9/room/a%20b+c%25");
    EXPECT_EQ(*session->subscribeFrames().at(0).headers.find("destination"), "/topic/room/a b+c%");
    session->sendCommand("SERVER_CONNECT");
    const auto reply = session->receive(limit);
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->destination, "/app/room/a b+c%");
    EXPECT_EQ(server.requests().at(0).target, "/my%20app/%C3%A9/update/version?os=macos");
}

TEST_F(SigningSession, DigestIsComparedCaseSensitively) {
    startSession();
    json::object request = pdfRequest("bytes");
    std::string digest(request["certificateDigest"].as_string());
    for (char& c : digest) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    request["certificateDigest"] = digest;
    session->sendCommand("SIGN_PDF", request);
    expectFatalAlert(
        "Signing certificate not found in user keychain", "Certificate digest: " + digest);
}

TEST_F(SigningSession, DeeplyNestedRequestIdIsReadUpTo512Levels) {
    startSession();
    const std::string nested = std::string(511, '[') + std::string(511, ']');
    session->sendEnvelope("{\"command\":\"SERVER_CONNECT\",\"requestId\":" + nested + "}");
    receive("CLIENT_CONNECT");
}

TEST_F(SigningSession, FramesCutAnywhereAndSeveralInOneMessageAreUnderstood) {
    startSession();
    const std::string frame = "\n\r\nMESSAGE\r\ndestination:/topic/room/room-1\r\nmessage-id:1\r\n"
                              "subscription:sub-0\r\n\r\n{\"command\":\"SERVER_CONNECT\"}"
        + std::string(1, '\0');
    std::vector<std::string> pieces;
    for (const char c : frame + frame) {
        pieces.emplace_back(1, c);
    }
    session->sendRaw(pieces);
    session->sendRaw({frame + frame}, devserver::MessageKind::binary);
    for (int i = 0; i < 4; ++i) {
        receive("CLIENT_CONNECT");
    }
}

class EllipticIdentity : public SessionTest { };

TEST_F(EllipticIdentity, KeyThatCannotSignIsAnsweredWithNullAndTellsStandardOutput) {
    home.makeEllipticIdentity();
    startSession();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"), "r");
    const json::value answer = receive("SIGN_PDF_RESPONSE");
    EXPECT_TRUE(answer.at("payload").at("signature").is_null());
    EXPECT_TRUE(answer.at("payload").at("certificate").is_string());
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
    EXPECT_THAT(agent->output(), HasSubstr("\nUnsupported algorithm\n"));
    EXPECT_TRUE(logHas("PDF successfully signed: nil"));
    EXPECT_FALSE(logHas("Unsupported algorithm"));
}

class ProtectedDatabase : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        home.makeProtectedIdentity("right");
    }
};

TEST_F(ProtectedDatabase, CancelledPasswordIsAnsweredWithNullAndTellsStandardOutput) {
    startSession();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    ASSERT_TRUE(agent->waitForOutput("(empty to cancel): "));
    agent->writeLine("");
    const json::value answer = receive("SIGN_PDF_RESPONSE");
    EXPECT_TRUE(answer.at("payload").at("signature").is_null());
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
    EXPECT_THAT(agent->output(), HasSubstr("Error creating signature: Optional("));
    for (const std::string& line : agent->log()) {
        EXPECT_EQ(line.find("Error creating signature"), std::string::npos);
    }
}

TEST_F(ProtectedDatabase, WrongPasswordIsAskedAgainAndTheRightOneSigns) {
    startSession();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    ASSERT_TRUE(agent->waitForOutput("(empty to cancel): "));
    agent->writeLine("wrong");
    ASSERT_TRUE(agent->waitForOutput("That password is wrong."));
    agent->writeLine("right");
    const json::value answer = receive("SIGN_PDF_RESPONSE").at("payload");
    EXPECT_TRUE(signatureIsValid(std::string(answer.at("certificate").as_string()),
        std::string(answer.at("signature").as_string()), "bytes", "SHA256"));
    for (const std::string& line : agent->log()) {
        EXPECT_EQ(line.find("right"), std::string::npos) << "a password in the log";
    }
}

class ManyIdentities : public SessionTest { };

TEST_F(ManyIdentities, AThousandAreListedInOrderAndTheLastOneSigns) {
    home.makeIdentities(1000);
    startSession();
    const json::array certificates = listCertificates();
    ASSERT_EQ(certificates.size(), 1000U);
    for (std::size_t i = 0; i < certificates.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        EXPECT_EQ(certificates[i].at("name"),
            json::value("Identity " + std::string(4 - number.size(), '0') + number));
    }
    session->sendCommand("SIGN_XML",
        json::object{{"certificateDigest", certificates.back().at("certificateDigest")},
            {"signatureAlgorithm", "SHA256withRSA"}, {"xmlSignedInfo", "<a/>"}});
    const json::value answer = receive("SIGN_XML_RESPONSE").at("payload");
    EXPECT_TRUE(signatureIsValid(std::string(answer.at("certificate").as_string()),
        std::string(answer.at("signature").as_string()), "<a/>", "SHA256"));
}
