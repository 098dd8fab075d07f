// SPDX-License-Identifier: MIT
// Alerts as a user meets them: in front, with the keyboard, answered by key or mouse.
#include "tests/linux-desktop/DesktopTest.h"

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class DesktopAlert : public DesktopTest { };

TEST_F(DesktopAlert, BodyThatIsNotJson) {
    startSessionOnDesktop();
    session->sendEnvelope("{\"command\":");
    expectAlert("Error parsing server message", "The data is not in the correct JSON format: ");
}

TEST_F(DesktopAlert, MissingCommand) {
    startSessionOnDesktop();
    session->sendEnvelope("{\"payload\":{}}");
    expectAlert("Malformed server message received", "Message command missing");
}

TEST_F(DesktopAlert, MissingPayload) {
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF");
    expectAlert("Malformed message received", "Message payload missing");
}

TEST_F(DesktopAlert, MissingKeychain) {
    startSessionOnDesktop();
    session->sendCommand("LIST_CERTIFICATES");
    expectAlert("Error opening the default keychain", "There is no certificate database in ");
}

TEST_F(DesktopAlert, UnknownCertificate) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    session->sendCommand("SIGN_XML",
        json::object{{"certificateDigest", "unknown"}, {"xmlSignedInfo", ""},
            {"signatureAlgorithm", "SHA256withRSA"}});
    expectAlert("Signing certificate not found in user keychain", "Certificate digest: unknown");
}

TEST_F(DesktopAlert, MalformedServerUrl) {
    startOnDesktop({"quillet://localhost/no-room"});
    expectAlert("Error", "Could not parse server URL: quillet://localhost/no-room");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(DesktopAlert, RefusedRequest) {
    server.setAnswer(devserver::Endpoint::version,
        devserver::HttpAnswer{404, "{\"status\":404,\"message\":\"Not found\"}"});
    startOnDesktop({server.link("room-1")});
    expectAlert("Error checking for Quillet updates", "(404) Not found");
    EXPECT_EQ(server.requests().size(), 1U);
}

/// It is asked for by the thread of the request, while the main one waits for the answer.
TEST_F(DesktopAlert, BodyOfARequestThatIsNotJson) {
    server.setAnswer(devserver::Endpoint::version, devserver::HttpAnswer{200, "<html>"});
    startOnDesktop({server.link("room-1")});
    expectAlert("Error checking for Quillet updates", "Error parsing server response");
    const std::vector<std::string> lines = agent->rawLog();
    const auto found = std::find_if(lines.begin(), lines.end(),
        [](const std::string& line) { return line.find("] FATAL ERROR: ") != line.npos; });
    ASSERT_NE(found, lines.end());
    const auto threadOf
        = [](const std::string& line) { return line.substr(0, line.find(']')).substr(23); };
    EXPECT_NE(threadOf(*found), threadOf(lines.front()));
    EXPECT_THAT(agent->log(), Not(Contains(HasSubstr("' complete with:"))));
}

TEST_F(DesktopAlert, InstallationIsAnnounced) {
    startOnDesktop({"install"});
    expectAlert("Quillet", "Quillet successfully installed.");
    EXPECT_EQ(home.waitForToolCall("xdg-mime"),
        "default\ncom.quillet.ZqMacClient.desktop\nx-scheme-handler/quillet\n");
}

TEST_F(DesktopAlert, EscapeACloseButtonAndAClickDismiss) {
    startOnDesktop({"install"});
    dialogText();
    display.pressKey("Escape");
    expectEnd({1, 0});
    startOnDesktop({"install"});
    dialogText();
    display.closeByTitleBar(dialog);
    expectEnd({1, 0});
    startOnDesktop({"install"});
    dialogText();
    display.click(dialog, -50, -28);
    expectEnd({1, 0});
}

TEST_F(DesktopAlert, OtherKeysAndClicksDoNotDismiss) {
    startOnDesktop({"install"});
    dialogText();
    display.type("xyz");
    display.click(dialog, 3, 3);
    display.click(window, 3, 3);
    display.focus(dialog);
    EXPECT_EQ(display.copiedText(), "Quillet\nQuillet successfully installed.");
    EXPECT_TRUE(agent->isRunning());
}

TEST_F(DesktopAlert, HostileTextIsShownAsTextAndStaysOnTheScreen) {
    startSessionOnDesktop();
    const std::string message = "<h1>Signed</h1><img src='file:///etc/passwd'>&amp;";
    const std::string details = "<a href='https://example.org'>click</a> " + std::string(5000, 'W');
    session->sendFrame({"ERROR", {{"message", message}}, details});
    EXPECT_EQ(dialogText(), message + "\n" + details);
    const auto image = display.imageOf(dialog);
    EXPECT_LT(image.width, 800);
    EXPECT_LT(image.height, 600);
}

TEST_F(DesktopAlert, ComesToTheFrontOfOtherPrograms) {
    startSessionOnDesktop();
    const auto cover = display.coverAll();
    ASSERT_TRUE(display.hasKeyboard(cover));
    session->sendEnvelope("{}");
    dialogText(); // waits for the keyboard, expects the front
    EXPECT_FALSE(display.hasKeyboard(cover));
}

TEST_F(DesktopAlert, NothingOfTheSessionIsDeliveredMeanwhile) {
    startSessionOnDesktop();
    session->sendTogether(
        {session->messageFrame("{}"), session->messageFrame("{\"command\":\"SERVER_CONNECT\"}"),
            session->messageFrame("{\"command\":\"TERMINATE_CLIENT\"}")});
    dialogText();
    EXPECT_FALSE(session->receive(std::chrono::milliseconds(300)).has_value());
    EXPECT_TRUE(agent->isRunning());
    display.pressKey("Return");
    expectEnd({1, 0});
    EXPECT_THAT(agent->log(), Not(Contains(HasSubstr("TERMINATE_CLIENT received"))));
}

TEST_F(DesktopAlert, WindowBehindItIsPaintedButCannotBeClosed) {
    startOnDesktop({"install"});
    dialogText();
    const auto shown = display.imageOf(window);
    display.uncover(display.coverAll());
    EXPECT_TRUE(eventually([&] { return display.imageOf(window) == shown; }));
    display.closeByTitleBar(window);
    display.focus(dialog);
    EXPECT_EQ(display.copiedText(), "Quillet\nQuillet successfully installed.");
    display.pressKey("Return");
    expectEnd({1, 0});
}

TEST_F(DesktopAlert, LongOneKeepsItsButtonOnASmallScreenOfHighResolution) {
    auto variables = desktopEnvironment();
    variables["QT_SCALE_FACTOR"] = "2";
    agent = std::make_unique<AgentProcess>(home,
        std::vector<std::string>{"quillet://localhost/" + std::string(5000, 'W')}, variables,
        QUILLET_AGENT);
    ASSERT_TRUE(display.waitForMainWindow().has_value());
    dialogText();
    const auto image = display.imageOf(dialog); // nothing of a window beyond the screen
    EXPECT_GT(image.width, 600) << "is not scaled";
    display.click(dialog, -100, -56);
    expectEnd({1, 0});
}

TEST_F(DesktopAlert, KeysThatCloseTheWindowDismissIt) {
    for (const char* key : {"w", "q"}) {
        startOnDesktop({"install"});
        dialogText();
        display.pressKey(key, {"Control_L"});
        expectEnd({1, 0});
    }
}

class DesktopHeartBeats : public DesktopTest {
protected:
    DesktopHeartBeats()
        : DesktopTest({.heartBeat = "0,10000"}) { }
};

TEST_F(DesktopHeartBeats, GetsThemWhileAnAlertIsShown) {
    startSessionOnDesktop();
    session->sendEnvelope("no envelope");
    dialogText();
    EXPECT_TRUE(session->waitForBeats(2, limit));
    display.pressKey("Return");
    expectEnd({1, 0});
}

class DesktopUpgradePrompt : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        server.setAnswer(
            devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99.10\"}"});
        server.setAnswer(devserver::Endpoint::bundle,
            devserver::HttpAnswer{200, "{\"value\":\"https://example.org/download?v=99\"}"});
        startOnDesktop({server.link("room-1")});
        EXPECT_EQ(dialogText(), "Please upgrade Quillet\nNewer version is available: 99.10");
    }
    void expectDownload() {
        expectEnd({0, 0});
        EXPECT_EQ(home.waitForToolCall("xdg-open"), "https://example.org/download?v=99\n");
    }
    void expectSession() {
        ASSERT_NE(waitForSession(), nullptr);
        EXPECT_FALSE(home.toolWasCalled("xdg-open"));
    }
};

TEST_F(DesktopUpgradePrompt, EnterDownloads) {
    display.pressKey("Return");
    expectDownload();
}

TEST_F(DesktopUpgradePrompt, FirstButtonDownloads) {
    display.click(dialog, -170, -28);
    expectDownload();
}

TEST_F(DesktopUpgradePrompt, SecondButtonConnects) {
    display.click(dialog, -50, -28);
    expectSession();
}

TEST_F(DesktopUpgradePrompt, SecondButtonConnectsByKeyboard) {
    display.pressKey("Tab");
    display.pressKey("space");
    expectSession();
}

TEST_F(DesktopUpgradePrompt, ClosingItConnectsButEndingTheProgramEndsIt) {
    display.pressKey("w", {"Control_L"});
    expectSession();
    greet();
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99.10\"}"});
    startOnDesktop({server.link("room-2")});
    dialogText();
    display.pressKey("q", {"Control_L"});
    expectEnd({0, 0});
    EXPECT_FALSE(home.toolWasCalled("xdg-open"));
}

TEST_F(DesktopUpgradePrompt, EscapeConnects) {
    display.pressKey("Escape");
    expectSession();
}
