// SPDX-License-Identifier: MIT
// Links that the desktop delivers to an agent that waits, or that has a session already.
#include "tests/e2e/SessionTest.h"

using testing::Contains;
using testing::HasSubstr;

class UrlEvents : public SessionTest {
protected:
    void startWaitingAgent(const std::vector<std::string>& arguments = {}) {
        agent = std::make_unique<AgentProcess>(home, arguments,
            std::map<std::string, std::string>{
                {"SSL_CERT_FILE", (home.path() / "ca.pem").string()}},
            QUILLET_URL_EVENT_AGENT);
    }
    std::size_t countOf(const std::string& line) const {
        const auto log = agent->log();
        return static_cast<std::size_t>(std::count(log.begin(), log.end(), line));
    }
};

TEST_F(UrlEvents, LinkStartsASessionInAWaitingAgent) {
    startWaitingAgent();
    ASSERT_TRUE(agent->waitForLog("Command line parameters (1): "));
    EXPECT_TRUE(server.requests().empty());
    agent->writeLine(server.link("room-1"));
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    EXPECT_EQ(session->room(), "room-1");
    greet();
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("room-1")), 1U);
}

TEST_F(UrlEvents, LinkThatTheDesktopStartsTheProgramForIsTheFirst) {
    startWaitingAgent({"--link", server.link("clicked")});
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    EXPECT_EQ(session->room(), "clicked");
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("clicked")), 1U);
    greet();
    agent->writeLine(server.link("next"));
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    EXPECT_EQ(session->room(), "next");
}

/// The one that is installed for all users is reached by the first click, not only by the next.
TEST_F(UrlEvents, CopyThatLiesBeforeAnInstalledProgramHandsItsLinkToThat) {
    home.makeTool("installed");
    const std::string entry = "applications/com.quillet.ZqMacClient.desktop";
    const auto users = home.path() / "home/.local/share" / entry;
    writeFile(home.path() / "system" / entry,
        "[Desktop Entry]\nExec=" + (home.path() / "bin/installed").string() + " --link %u\n");
    writeFile(users, "[Desktop Entry]\nExec=" QUILLET_AGENT " --link %u\n");
    AgentProcess copy(home, {"--link", server.link("clicked")});
    EXPECT_EQ(copy.waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_EQ(home.waitForToolCall("installed"), "--link\n" + server.link("clicked") + "\n");
    EXPECT_EQ(copy.output(), "");
    EXPECT_FALSE(std::filesystem::exists(users));
}

TEST_F(UrlEvents, SecondLinkReplacesTheSessionWithoutDisconnectFrameOrEnd) {
    startWaitingAgent();
    agent->writeLine(server.link("first"));
    const auto first = waitForSession();
    ASSERT_NE(first, nullptr);
    greet();
    agent->writeLine(server.link("second"));
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    EXPECT_EQ(session->room(), "second");
    greet();
    ASSERT_TRUE(first->waitForClose(limit).has_value());
    EXPECT_FALSE(first->receive(limit).has_value());
    greet(); // the loss of the first connection ends nothing
    EXPECT_EQ(countOf("Checking for application updates..."), 2U);
    EXPECT_EQ(countOf("STOMP client disconnected from server"), 0U);
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
}

TEST_F(UrlEvents, LinksAreIgnoredSilentlyWhenOneStoodOnTheCommandLine) {
    startWaitingAgent({server.link("from-command-line")});
    ASSERT_NE(waitForSession(), nullptr);
    agent->writeLine(server.link("from-event"));
    greet();
    EXPECT_EQ(server.waitForAgent("from-event", std::chrono::milliseconds(0)), nullptr);
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
    EXPECT_THAT(agent->log(), testing::Not(Contains(HasSubstr("from-event"))));
}

TEST_F(UrlEvents, MalformedLinkIsShownAndEndsTheAgent) {
    startWaitingAgent();
    agent->writeLine("quillet://localhost");
    expectEnd({1, 0});
    EXPECT_THAT(
        agent->output(), HasSubstr("*** Error\nCould not parse server URL: quillet://localhost\n"));
}

TEST_F(UrlEvents, LinkWithoutHostAborts) {
    startWaitingAgent();
    agent->writeLine("quillet:?roomId=1");
    expectFatalError("the server URL has no host");
}
