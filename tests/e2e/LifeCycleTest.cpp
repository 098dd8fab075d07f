// SPDX-License-Identifier: MIT
// How the process starts and ends.
#include "tests/e2e/SessionTest.h"

#include <csignal>

using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class LifeCycle : public SessionTest {
protected:
    bool everLogged(const std::string& start) const {
        const auto log = agent->log();
        return std::any_of(log.begin(), log.end(),
            [&](const std::string& line) { return line.starts_with(start); });
    }
};

TEST_F(LifeCycle, TerminateAndDisconnectCommandsEndWithStatusZeroAndWithoutReply) {
    for (const char* command : {"TERMINATE_CLIENT", "SERVER_DISCONNECT"}) {
        startSession();
        session->sendCommand(command);
        expectEnd({0, 0});
        EXPECT_EQ(agent->log().back(), std::string(command) + " received - exiting");
        EXPECT_FALSE(session->receive(limit).has_value());
    }
}

TEST_F(LifeCycle, EndTakesLeaveOfTheServerProperly) {
    startSession();
    session->sendCommand("TERMINATE_CLIENT");
    const auto close = session->waitForClose(limit);
    ASSERT_TRUE(close.has_value());
    EXPECT_TRUE(close->handshake);
}

TEST_F(LifeCycle, LostConnectionEndsWithStatusZero) {
    startSession();
    session->closeAbruptly();
    expectEnd({0, 0});
    EXPECT_EQ(agent->log().back(), "STOMP client disconnected from server");
    EXPECT_THAT(agent->log(), Contains(StartsWith("Connection to wss://localhost:")));
}

TEST_F(LifeCycle, ConnectionClosedByTheServerEndsWithStatusZero) {
    startSession();
    session->close(1001);
    expectEnd({0, 0});
    EXPECT_EQ(agent->log().back(), "STOMP client disconnected from server");
}

TEST_F(LifeCycle, RefusedWebSocketIsLoggedWithHostPortAndCauseAndEndsWithStatusZero) {
    server.refuseWebSockets(devserver::HttpAnswer{403, "no"});
    startAgent();
    expectEnd({0, 0});
    EXPECT_THAT(agent->log().end()[-2],
        AllOf(StartsWith("Could not connect to wss://localhost:" + std::to_string(server.port())),
            HasSubstr("403")));
    EXPECT_EQ(agent->log().back(), "STOMP client disconnected from server");
}

TEST_F(LifeCycle, NothingOfTheProcessTellsOthersTheRoomOrLeavesACore) {
    startSession();
    const std::string process = "/proc/" + std::to_string(agent->pid());
    const std::string room = session->room();
    ASSERT_FALSE(room.empty());
    EXPECT_THAT(contentOf(process + "/cmdline"), HasSubstr("quillet://**"));
    EXPECT_THAT(contentOf(process + "/cmdline"), Not(HasSubstr(room)));
    EXPECT_THAT(contentOf(process + "/limits"), testing::ContainsRegex("Max core file size +0 "));
}

TEST_F(LifeCycle, LogIsKeptWithoutStandardStreamsAtTheStart) {
    const AgentProcess closed(home,
        {"-c", "exec \"$0\" \"$1\" <&- >&- 2>&-", QUILLET_AGENT, "quillet://localhost"}, {},
        "/bin/sh");
    EXPECT_TRUE(closed.waitForLog("Starting Quillet version "));
    EXPECT_TRUE(closed.waitForLog("FATAL ERROR: "));
}

TEST_F(LifeCycle, InstallRegistersShowsItsAlertAndEndsWithStatusOne) {
    startAgent({"install"});
    ASSERT_TRUE(agent->waitForOutput("Press Enter to continue."));
    EXPECT_THAT(agent->output(), HasSubstr("--- Quillet\nQuillet successfully installed.\n"));
    expectEnd({1, 0});
    const auto log = agent->log();
    ASSERT_GE(log.size(), 3U);
    EXPECT_EQ(log.end()[-3], "we to register for quillet:// URL handling");
    EXPECT_EQ(log.end()[-2], "FATAL ERROR: Quillet, details: Quillet successfully installed.");
    EXPECT_EQ(log.end()[-1], "Exiting application after fatal error");
    EXPECT_FALSE(everLogged("Checking for application updates..."));
    EXPECT_EQ(home.waitForToolCall("xdg-mime"),
        "default\ncom.quillet.ZqMacClient.desktop\nx-scheme-handler/quillet\n");
    EXPECT_THAT(
        contentOf(home.path() / "home/.local/share/applications/com.quillet.ZqMacClient.desktop"),
        AllOf(AnyOf(HasSubstr("Exec=" QUILLET_AGENT " --link %u\n"),
                  HasSubstr("Exec=\"" QUILLET_AGENT "\" --link %u\n")),
            HasSubstr("MimeType=x-scheme-handler/quillet;\n")));
}

TEST_F(LifeCycle, InstallThatFailsTellsWhyInTheLogAndOnStandardError) {
    home.makeTool("xdg-mime", 3);
    startAgent({"install"});
    expectEnd({1, 0});
    EXPECT_THAT(agent->output(), HasSubstr("--- Quillet\nQuillet successfully installed.\n"));
    const std::string line = "Not registered for quillet:// links: \"xdg-mime default ";
    EXPECT_TRUE(everLogged(line));
    EXPECT_THAT(agent->standardError(),
        AllOf(StartsWith(line), testing::EndsWith(" with the argument \"install\" again.\n")));
}

TEST_F(LifeCycle, StartsThatOnlyAskAboutTheProgramRegisterNothing) {
    for (const char* question : {"--help", "-h", "--version"}) {
        startAgent({question});
        EXPECT_EQ(agent->waitForEnd(), (ProcessEnd{0, 0}));
        EXPECT_THAT(agent->output(), HasSubstr("ZqMacClient "));
        EXPECT_THAT(agent->log(), testing::IsEmpty());
    }
    EXPECT_FALSE(home.toolWasCalled("xdg-mime"));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "home/.local"));
}

TEST_F(LifeCycle, StartWritesNothingWhereTheAgentIsInstalledForAll) {
    writeFile(home.path() / "system/applications/com.quillet.ZqMacClient.desktop",
        "[Desktop Entry]\nExec=/bin/sh %u\n");
    startAgent({"quillet://x"});
    expectEnd({1, 0});
    EXPECT_FALSE(home.toolWasCalled("xdg-mime"));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "home/.local"));
}

TEST_F(LifeCycle, EveryStartRegistersTheUrlScheme) {
    startAgent({"quillet://x"});
    expectEnd({1, 0});
    EXPECT_TRUE(home.toolWasCalled("xdg-mime"));
}

/// Arguments with which the agent does nothing but wait for a URL event.
class WaitingAgent : public LifeCycle,
                     public testing::WithParamInterface<std::vector<std::string>> { };

TEST_P(WaitingAgent, WritesItsParametersAndWaits) {
    startAgent(GetParam());
    std::string parameters = QUILLET_AGENT " ";
    for (const std::string& argument : GetParam()) {
        parameters += argument + " ";
    }
    const std::string line
        = "Command line parameters (" + std::to_string(GetParam().size() + 1) + "): " + parameters;
    ASSERT_TRUE(agent->waitForLog(line));
    // Long enough for a wrong step to show: it would follow at once.
    EXPECT_FALSE(agent->waitForOutput("Press Enter", std::chrono::milliseconds(300)));
    EXPECT_TRUE(agent->isRunning());
    agent->terminate();
    EXPECT_EQ(agent->waitForEnd(), (ProcessEnd{-1, SIGTERM}));
    EXPECT_EQ(agent->log().back(), line);
}

INSTANTIATE_TEST_SUITE_P(Arguments, WaitingAgent,
    testing::Values(std::vector<std::string>{}, std::vector<std::string>{"Install"},
        std::vector<std::string>{"INSTALL"}, std::vector<std::string>{"install "},
        std::vector<std::string>{"Quillet://localhost?roomId=1"},
        std::vector<std::string>{"nothing", "install"}));

TEST_F(LifeCycle, LogIsAppendedAcrossRuns) {
    startAgent({"install"});
    expectEnd({1, 0});
    const std::vector<std::string> first = agent->rawLog();
    const std::unique_ptr<AgentProcess> firstAgent = std::move(agent);
    startAgent({"install"});
    expectEnd({1, 0});
    EXPECT_EQ(firstAgent->rawLog(), first);
    EXPECT_FALSE(agent->rawLog().empty());
}

class Upgrade : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        server.setAnswer(
            devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99.10\"}"});
        server.setAnswer(devserver::Endpoint::bundle,
            devserver::HttpAnswer{200, "{\"value\":\"https://example.org/download?v=99\"}"});
    }

    void waitForPrompt() {
        startAgent();
        ASSERT_TRUE(agent->waitForOutput("Your choice (1-2): ")) << agent->output();
        EXPECT_THAT(agent->output(),
            HasSubstr("New version available: 99.10\n\n--- Please upgrade Quillet\n"
                      "Newer version is available: 99.10\n"
                      "  1) Download update\n  2) Ignore\n"));
    }
};

TEST_F(Upgrade, AcceptedOpensThePageAndEndsWithStatusZero) {
    waitForPrompt();
    agent->writeLine("1");
    expectEnd({0, 0});
    EXPECT_EQ(home.waitForToolCall("xdg-open"), "https://example.org/download?v=99\n");
    EXPECT_EQ(
        agent->log().back(), "Opening download update page: https://example.org/download?v=99");
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(Upgrade, AcceptedEndsWithStatusZeroAlsoWhenThePageCannotBeOpened) {
    home.makeTool("xdg-open", 3);
    waitForPrompt();
    agent->writeLine("1");
    expectEnd({0, 0});
    EXPECT_EQ(home.waitForToolCall("xdg-open"), "https://example.org/download?v=99\n");
}

TEST_F(Upgrade, DeclinedConnects) {
    for (const char* answer : {"2", "", "yes", "11"}) {
        waitForPrompt();
        agent->writeLine(answer);
        ASSERT_NE(waitForSession(), nullptr);
        session->sendCommand("TERMINATE_CLIENT");
        expectEnd({0, 0});
    }
    EXPECT_FALSE(home.toolWasCalled("xdg-open"));
}

TEST_F(Upgrade, EndOfInputDeclines) {
    waitForPrompt();
    agent->closeInput();
    EXPECT_NE(waitForSession(), nullptr);
}

TEST_F(Upgrade, AddressThatIsNoWebPageIsNotHandedToTheDesktop) {
    server.setAnswer(devserver::Endpoint::bundle,
        devserver::HttpAnswer{200, "{\"value\":\"file:///etc/passwd\"}"});
    waitForPrompt();
    agent->writeLine("1");
    expectEnd({0, 0});
    EXPECT_FALSE(home.toolWasCalled("xdg-open"));
}

TEST_F(Upgrade, AddressThatIsNoUrlAborts) {
    server.setAnswer(
        devserver::Endpoint::bundle, devserver::HttpAnswer{200, "{\"value\":\"no url\"}"});
    waitForPrompt();
    agent->writeLine("1");
    expectFatalError("not a URL: no url");
}

TEST_F(Upgrade, EarlierServerVersionsAreUpToDate) {
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"0.99\"}"});
    startAgent();
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_THAT(agent->output(), HasSubstr("No application updates found.\n"));
}
