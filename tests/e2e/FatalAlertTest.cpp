// SPDX-License-Identifier: MIT
// Every failure that is shown to the user: its text, its log lines, exit status 1. And every
// broken assumption: a diagnostic in the log and an abort.
#include "tests/e2e/SessionTest.h"

using testing::HasSubstr;

class FatalAlert : public SessionTest { };

TEST_F(FatalAlert, BodyThatIsNotJsonIsShown) {
    startSession();
    session->sendEnvelope("{\"command\":");
    expectFatalAlert(
        "Error parsing server message", "The data is not in the correct JSON format: ");
}

TEST_F(FatalAlert, EmptyBodyIsShown) {
    startSession();
    session->sendEnvelope("");
    expectFatalAlert(
        "Error parsing server message", "The data is not in the correct JSON format: ");
}

TEST_F(FatalAlert, MissingCommandIsShown) {
    startSession();
    session->sendEnvelope("{\"payload\":{}}");
    expectFatalAlert("Malformed server message received", "Message command missing");
}

TEST_F(FatalAlert, EmptyKeychainCannotBeListed) {
    home.makeEmptyDatabase();
    startSession();
    session->sendCommand("LIST_CERTIFICATES");
    expectFatalAlert("Error listing certificates 1",
        "The certificate database in " + home.databaseFolder().string());
}

TEST_F(FatalAlert, MissingKeychainCannotBeOpened) {
    startSession();
    session->sendCommand("LIST_CERTIFICATES");
    expectFatalAlert("Error opening the default keychain",
        "There is no certificate database in " + home.databaseFolder().string());
}

TEST_F(FatalAlert, ServerErrorIsShownWithItsTwoTexts) {
    startSession();
    session->sendFrame({"ERROR", {{"message", "Room closed"}}, "The room is gone."});
    expectFatalAlert("Room closed", "The room is gone.");
}

struct MissingKey {
    const char* name;
    const char* command;
    const char* envelopeRest; // after the command
    const char* details;

    friend std::ostream& operator<<(std::ostream& out, const MissingKey& value) {
        return out << value.name;
    }
};

class MalformedRequest : public SessionTest, public testing::WithParamInterface<MissingKey> { };

TEST_P(MalformedRequest, IsShownAfterItsNotification) {
    startSession();
    session->sendEnvelope(
        std::string("{\"command\":\"") + GetParam().command + "\"" + GetParam().envelopeRest + "}");
    expectFatalAlert("Malformed message received", GetParam().details);
    EXPECT_THAT(agent->output(),
        HasSubstr(GetParam().command == std::string("SIGN_PDF") ? "\nSigning attachment\n"
                                                                : "\nSigning document\n"));
}

INSTANTIATE_TEST_SUITE_P(Signing, MalformedRequest,
    testing::Values(MissingKey{"PdfWithoutPayload", "SIGN_PDF", "", "Message payload missing"},
        MissingKey{"PdfWithoutDigest", "SIGN_PDF", ",\"payload\":{\"bytesToSign\":\"\"}",
            "Certificate digest missing"},
        MissingKey{"PdfWithoutBytes", "SIGN_PDF", ",\"payload\":{\"certificateDigest\":\"x\"}",
            "PDF bytes to sign"},
        MissingKey{"XmlWithoutPayload", "SIGN_XML", "", "Message payload missing"},
        MissingKey{"XmlWithoutDigest", "SIGN_XML", ",\"payload\":{\"xmlSignedInfo\":\"\"}",
            "Certificate digest missing"},
        MissingKey{"XmlWithBytesInstead", "SIGN_XML",
            ",\"payload\":{\"certificateDigest\":\"x\",\"bytesToSign\":\"\"}",
            "XML signed info missing"}),
    [](const auto& test) { return test.param.name; });

TEST_F(FatalAlert, UnknownCertificateIsShownForBothCommands) {
    home.makeIdentities(1);
    for (const char* command : {"SIGN_PDF", "SIGN_XML"}) {
        startSession();
        session->sendCommand(command,
            json::object{{"certificateDigest", "unknown"}, {"bytesToSign", ""},
                {"xmlSignedInfo", ""}, {"signatureAlgorithm", "SHA256withRSA"}});
        expectFatalAlert(
            "Signing certificate not found in user keychain", "Certificate digest: unknown");
    }
}

TEST_F(FatalAlert, MalformedServerUrlIsShown) {
    for (const char* url :
        {"quillet://localhost/no-room", "quillet://local host/?roomId=1", "quillet://"}) {
        startAgent({url});
        expectFatalAlert("Error", std::string("Could not parse server URL: ") + url);
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(FatalAlert, LinkWithEmptyHostIsShown) {
    startAgent({"quillet://?roomId=1"});
    expectFatalAlert("Error checking for Quillet updates", "no host is given");
}

TEST_F(FatalAlert, UnreachableServerIsShownInWords) {
    const std::string link = server.link("r");
    const std::string port = std::to_string(server.port());
    server.stop();
    startAgent({link});
    expectFatalAlert("Error checking for Quillet updates", "localhost refused the connection");
}

TEST_F(FatalAlert, UntrustedServerIsShownInWords) {
    agent = std::make_unique<AgentProcess>(home, std::vector{server.link("r")});
    expectFatalAlert("Error checking for Quillet updates", "certificate of localhost");
}

struct RestAnswer {
    const char* name;
    const char* body;
    const char* details;

    friend std::ostream& operator<<(std::ostream& out, const RestAnswer& value) {
        return out << value.name;
    }
};

class RestFailure : public SessionTest, public testing::WithParamInterface<RestAnswer> { };

TEST_P(RestFailure, IsShownAndNothingIsConnected) {
    server.setAnswer(devserver::Endpoint::version, devserver::HttpAnswer{200, GetParam().body});
    startAgent();
    expectFatalAlert("Error checking for Quillet updates", GetParam().details);
    EXPECT_EQ(server.requests().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Answers, RestFailure,
    testing::Values(RestAnswer{"NotJson", "<html>", "Error parsing server response"},
        RestAnswer{"Empty", "", "Error parsing server response"},
        RestAnswer{"Array", "[1]", "Error parsing server response"},
        RestAnswer{"Status", "{\"status\":404,\"message\":\"Not found\"}", "(404) Not found"},
        RestAnswer{"StatusBesideValue", "{\"status\":\"x\",\"value\":\"1.0\"}", "(x) "}),
    [](const auto& test) { return test.param.name; });

TEST_F(FatalAlert, FailedDownloadAddressRequestIsShown) {
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99\"}"});
    server.setAnswer(devserver::Endpoint::bundle,
        devserver::HttpAnswer{500, "{\"status\":500,\"message\":\"Broken\"}"});
    startAgent();
    expectFatalAlert("Error getting Quillet update download URL", "(500) Broken");
    EXPECT_THAT(
        server.requests().at(1).target, testing::EndsWith("/update/bundle?os=macos&version=99"));
}

TEST_F(FatalAlert, AlertWaitsForTheUser) {
    startAgent({"quillet://x"});
    ASSERT_TRUE(agent->waitForOutput("Press Enter to continue."));
    EXPECT_TRUE(agent->isRunning());
    agent->writeLine("");
    const auto end = agent->waitForEnd();
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(end->status, 1);
}

TEST_F(FatalAlert, HostileTextCannotControlTheTerminal) {
    startSession();
    session->sendFrame({"ERROR", {{"message", "\x1b[2J\x07hello"}}, "line\n\xC2\x9Bnext"});
    ASSERT_TRUE(agent->waitForOutput("Press Enter"));
    EXPECT_THAT(agent->output(), HasSubstr("*** \xEF\xBF\xBD[2J\xEF\xBF\xBDhello\nline\n"));
    EXPECT_EQ(agent->output().find('\x1b'), std::string::npos);
    EXPECT_EQ(agent->output().find("\xC2\x9B"), std::string::npos);
}

class FatalError : public SessionTest { };

TEST_F(FatalError, TopLevelArrayAborts) {
    startSession();
    session->sendEnvelope("[]");
    expectFatalError("the top level of a message is not an object");
}

TEST_F(FatalError, CommandThatIsNotTextAborts) {
    startSession();
    session->sendEnvelope("{\"command\":1}");
    expectFatalError("the command of a message is not text");
}

TEST_F(FatalError, MissingSignatureAlgorithmAborts) {
    startSession();
    session->sendCommand("SIGN_PDF", json::object{{"certificateDigest", "x"}, {"bytesToSign", ""}});
    expectFatalError("a signing command has no \"signatureAlgorithm\"");
    EXPECT_FALSE(session->receive(limit).has_value());
}

TEST_F(FatalError, LineBreakInBytesToSignAbortsAfterTheCertificateSearch) {
    home.makeIdentities(1);
    startSession();
    json::object request = signingRequest();
    request["bytesToSign"] = "QUJD\nQUJD";
    session->sendCommand("SIGN_PDF", request);
    expectFatalError("\"bytesToSign\" is not Base64");
    EXPECT_TRUE(logHas("bytesToSign: nil"));
}

TEST_F(FatalError, MissingVersionValueAborts) {
    server.setAnswer(devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":7}"});
    startAgent();
    expectFatalError("the server did not tell the latest version");
}

TEST_F(FatalError, WhatWasSentBeforeAnAbortStillArrives) {
    startSession();
    session->sendTogether(
        {session->messageFrame("{\"command\":\"SERVER_CONNECT\"}"), session->messageFrame("[]")});
    receive("CLIENT_CONNECT");
    expectFatalError("the top level of a message is not an object");
}
