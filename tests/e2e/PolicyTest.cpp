// SPDX-License-Identifier: MIT
// The real agent under an administrator's policy, which a mount of the test's own puts in place.
#include "tests/e2e/PolicyTest.h"

#include "tests/support/SigningContent.h"

using testing::HasSubstr;

TEST_F(PolicyTest, AListedServerIsServed) {
    setRules("\"servers\":[" + thisServer() + "]");
    home.makeIdentities(1);
    startSession();
    EXPECT_EQ(listCertificates().size(), 1U);
    EXPECT_TRUE(logHas("Policy: localhost:" + port() + " is allowed"));
    EXPECT_TRUE(
        agent->waitForLog("Policy: /etc/quillet/policy.json is in force: servers: localhost:"
            + port() + "; consent: none; content: any; log: full"));
}

TEST_F(PolicyTest, ARedirectToAnotherServerIsNotFollowed) {
    setRules("\"servers\":[" + thisServer() + "]");
    server.setAnswer(devserver::Endpoint::version,
        devserver::HttpAnswer{
            302, "", {{"Location", "https://localhost:" + listener.port() + "/"}}});
    startAgent();
    expectFatalAlert(
        "Server not allowed", "localhost:" + listener.port() + " is not among the signing servers");
    EXPECT_FALSE(listener.sawConnection());
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(PolicyTest, ADownloadPageThatIsNotListedIsNotOpened) {
    setRules(R"("downloads":["get.example.org"])");
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99\"}"});
    server.setAnswer(devserver::Endpoint::bundle,
        devserver::HttpAnswer{200, "{\"value\":\"https://evil.example/get\"}"});
    startAgent();
    ASSERT_TRUE(agent->waitForOutput("Your choice"));
    agent->writeLine("1");
    expectFatalAlert("Server not allowed", "evil.example:443 is not among the download pages");
    EXPECT_FALSE(home.toolWasCalled("xdg-open"));
}

struct BadFile {
    const char* name;
    const char* text;
    const char* change;
    const char* cause;
    friend std::ostream& operator<<(std::ostream& out, const BadFile& value) {
        return out << value.name;
    }
};

class BadPolicyFile : public PolicyTest, public testing::WithParamInterface<BadFile> { };

TEST_P(BadPolicyFile, RefusesEveryLinkAndCostsNoConnection) {
    home.setPolicy(GetParam().text, GetParam().change);
    expectRefusal("localhost", "The signing policy cannot be used",
        std::string("/etc/quillet/policy.json: ") + GetParam().cause);
}

INSTANTIATE_TEST_SUITE_P(Files, BadPolicyFile,
    testing::Values(BadFile{"NotJson", "{", "true", "The data is not in the correct JSON format"},
        BadFile{"UnknownKey", R"({"version":1,"server":[]})", "true", "\"server\" is not a key"},
        BadFile{"UnknownVersion", R"({"version":2})", "true", "\"version\" is not 1"},
        BadFile{"BadEntry", R"({"version":1,"servers":["*"]})", "true", "\"servers\" holds"},
        BadFile{"WritableByOthers", R"({"version":1})", "chmod 666 policy.json",
            "The file can be written by others"},
        BadFile{"FolderWritableByOthers", R"({"version":1})", "chmod 777 .", "The folder"},
        BadFile{"Link", R"({"version":1})", "mv policy.json p && ln -s p policy.json",
            "The file is a link."},
        BadFile{"Folder", "", "rm policy.json && mkdir policy.json",
            "The file can"}, // depends on its mode; a folder is never read
        BadFile{"TooLarge", "{}", "head -c 70000 /dev/zero >policy.json",
            "The file is larger than 64 KiB."}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(PolicyTest, APolicyOfAnotherOwnerIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root gives a file away";
    }
    home.setPolicy(R"({"version":1})", "chown 1 policy.json");
    expectRefusal("localhost", "The signing policy cannot be used",
        "/etc/quillet/policy.json: The file belongs to user 1, not to user 0.");
}

TEST_F(PolicyTest, InstallWorksUnderAnUnusablePolicy) {
    home.setPolicy("{");
    startAgent({"install"});
    ASSERT_TRUE(agent->waitForOutput("Quillet successfully installed."));
    expectEnd({1, 0});
}

TEST_F(PolicyTest, TheReportTellsAnAdministratorWhatIsInForce) {
    setRules(R"("servers":["SIGN.example.org"],"consent":"signature")");
    startAgent({"policy"});
    expectEnd({0, 0});
    EXPECT_EQ(agent->output(),
        "Signing policy: /etc/quillet/policy.json\nIt is in force:\n"
        "  servers: sign.example.org:443\n  consent: signature\n  content: any\n  log: full\n");
    EXPECT_TRUE(agent->log().empty());
    home.setPolicy("{");
    startAgent({"policy"});
    expectEnd({1, 0});
    EXPECT_THAT(agent->output(), HasSubstr("It cannot be used, so every link is refused: "));
}

// Consent

class ConsentTest : public PolicyTest {
protected:
    ConsentTest()
        : PolicyTest({.heartBeat = "0,10000"}) { }
    void SetUp() override {
        PolicyTest::SetUp();
        if (!IsSkipped()) {
            home.makeIdentities(1);
        }
    }
    void startListing() {
        startSession();
        session->sendCommand("LIST_CERTIFICATES");
        ASSERT_TRUE(agent->waitForOutput("Your choice (1-2): ")) << agent->output();
    }
    /// Longer than an answer is not taken.
    static void read() { std::this_thread::sleep_for(std::chrono::milliseconds(1200)); }
};

TEST_F(ConsentTest, TheTerminalAsksOnceForASession) {
    setRules(R"("consent":"session")");
    startListing();
    EXPECT_THAT(agent->output(),
        HasSubstr("--- localhost wants to use your certificates\nServer: localhost, port " + port()
            + "\nRoom code: 116340\n\nIf you did not just start signing there, refuse.\n"
              "  1) Allow for this session\n  2) Refuse\nYour choice (1-2): "));
    read();
    agent->writeLine("1");
    receive("CERTIFICATE_LIST");
    EXPECT_EQ(listCertificates().size(), 1U);
    EXPECT_TRUE(logHas("Consent: allowed"));
}

TEST_F(ConsentTest, AnythingButTheFirstAnswerRefuses) {
    setRules(R"("consent":"session")");
    for (const char* const answer : {"", "2", "y", "11"}) {
        startListing();
        read();
        agent->writeLine(answer);
        expectEnd({1, 0});
        EXPECT_EQ(agent->log().back(), "Consent: refused");
        EXPECT_FALSE(session->receive(std::chrono::milliseconds(0)).has_value());
    }
}

TEST_F(ConsentTest, TheEndOfInputRefuses) {
    setRules(R"("consent":"session")");
    startListing();
    read();
    expectEnd({1, 0});
    EXPECT_EQ(agent->log().back(), "Consent: refused");
}

TEST_F(ConsentTest, AnAnswerGivenBeforeTheQuestionCouldBeReadIsNotTaken) {
    setRules(R"("consent":"session")");
    startAgent();
    agent->writeLine("1");
    ASSERT_NE(waitForSession(), nullptr);
    greet();
    session->sendCommand("LIST_CERTIFICATES");
    ASSERT_TRUE(agent->waitForOutput("That was too fast to have read the question. Your choice: "));
    read();
    agent->writeLine("1");
    receive("CERTIFICATE_LIST");
}

TEST_F(ConsentTest, BeatsGoOnWhileTheUserIsAsked) {
    setRules(R"("consent":"session")");
    startListing();
    EXPECT_TRUE(session->waitForBeats(2, limit));
    expectEnd({1, 0});
}

TEST_F(ConsentTest, EachSignatureIsAskedForWithWhatItIs) {
    setRules(R"("consent":"signature","content":"documents")");
    startListing();
    read();
    agent->writeLine("1");
    const json::value list = receive("CERTIFICATE_LIST");
    const auto certificates = json::parse(bytesOfBase64(list.at("payload").as_string())).as_array();
    session->sendCommand("SIGN_PDF",
        json::object{{"certificateDigest", certificates.at(0).at("certificateDigest")},
            {"signatureAlgorithm", "SHA256withRSA"},
            {"bytesToSign", base64Of(signedAttributes())}});
    ASSERT_TRUE(agent->waitForOutput("1) Allow this signature"));
    EXPECT_THAT(agent->output(), HasSubstr("To be signed: PDF signature\nSHA-256: "));
    EXPECT_THAT(agent->output(), HasSubstr("\nSignature 1 of this session\n"));
    EXPECT_THAT(agent->output(), HasSubstr("\nCertificate: "));
    read();
    agent->writeLine("1");
    const json::value answer = receive("SIGN_PDF_RESPONSE");
    EXPECT_TRUE(signatureIsValid(std::string(answer.at("payload").at("certificate").as_string()),
        std::string(answer.at("payload").at("signature").as_string()), signedAttributes(),
        "SHA256"));
}

TEST_F(PolicyTest, ATokenIsLockedAfterItsMinuteWithoutUse) {
    setRules(R"("idleMinutes":1)");
    home.makeProtectedIdentity("right");
    startSession();
    const json::object request = pdfRequest("bytes");
    session->sendCommand("SIGN_PDF", request);
    ASSERT_TRUE(agent->waitForOutput("Password of "));
    agent->writeLine("right");
    receive("SIGN_PDF_RESPONSE");
    session->sendCommand("SIGN_PDF", request); // while it is open
    receive("SIGN_PDF_RESPONSE");
    ASSERT_TRUE(eventually(
        [this] { return logHas("Policy: idle for 1 min, tokens are locked"); }, 2 * limit));
    const std::size_t before = agent->output().size();
    session->sendCommand("SIGN_PDF", request);
    EXPECT_TRUE(eventually(
        [&] { return agent->output().find("Password of ", before) != std::string::npos; }));
    agent->writeLine("right");
    receive("SIGN_PDF_RESPONSE");
}

TEST_F(PolicyTest, WhatIsNoDocumentIsNotSigned) {
    setRules(R"("content":"documents")");
    home.makeIdentities(1);
    startSession();
    session->sendCommand("SIGN_PDF", pdfRequest("the challenge of a login"));
    expectFatalAlert("Content not allowed",
        "localhost:" + port() + " asks for a signature of 24 bytes that are neither");
    EXPECT_FALSE(session->receive(std::chrono::milliseconds(0)).has_value());
}
