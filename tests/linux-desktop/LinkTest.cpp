// SPDX-License-Identifier: MIT
// Links that the desktop hands over: on the session bus, to the agent that waits there, or by
// starting one.
#include "tests/linux-desktop/DesktopTest.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class DesktopLink : public DesktopTest {
protected:
    /// The real tools instead of those that only note their calls.
    void useRealTools() const {
        fs::remove(home.path() / "bin/xdg-open");
        fs::remove(home.path() / "bin/xdg-mime");
    }
    void startWaitingAgent() {
        startOnDesktop({});
        ASSERT_TRUE(eventually([&] { return isOnBus(); }));
    }
    bool isOnBus() const {
        const auto names = startProgram("/usr/bin/gdbus",
            {"call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/",
                "--method", "org.freedesktop.DBus.ListNames"});
        names->waitForEnd();
        return names->output().find("'com.quillet.ZqMacClient'") != std::string::npos;
    }
    bool open(const std::string& urls) const {
        return callAgent("org.freedesktop.Application.Open", {urls, "{}"});
    }
    std::size_t countOf(const std::string& line) const {
        const auto log = agent->log();
        return static_cast<std::size_t>(std::count(log.begin(), log.end(), line));
    }
};

TEST_F(DesktopLink, StartsASessionInAWaitingAgentAndASecondOneReplacesIt) {
    startWaitingAgent();
    ASSERT_TRUE(open("['" + server.link("first") + "']"));
    const auto first = waitForSession();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->room(), "first");
    greet();
    ASSERT_TRUE(open("['" + server.link("second") + "']"));
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_EQ(session->room(), "second");
    greet();
    EXPECT_TRUE(first->waitForClose(limit).has_value());
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("first")), 1U);
    EXPECT_EQ(countOf("Checking for application updates..."), 2U);
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
    EXPECT_FALSE(isOnBus());
}

TEST_F(DesktopLink, EachUriOfACallIsAnEventOfItsOwn) {
    startWaitingAgent();
    ASSERT_TRUE(open("['" + server.link("first") + "', '" + server.link("second") + "']"));
    ASSERT_TRUE(agent->waitForLog("Launching with custom URL: " + server.link("second")));
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("first")), 1U);
    ASSERT_NE(server.waitForAgent("second", limit), nullptr);
}

TEST_F(DesktopLink, ActivationRaisesTheWindowAndActionsAreIgnored) {
    startWaitingAgent();
    const auto cover = display.coverAll();
    ASSERT_TRUE(callAgent("org.freedesktop.Application.ActivateAction", {"x", "[]", "{}"}));
    EXPECT_EQ(display.visibleWindows().back(), cover);
    ASSERT_TRUE(callAgent("org.freedesktop.Application.Activate", {"{}"}));
    EXPECT_TRUE(eventually([&] { return display.visibleWindows().back() == window; }));
    EXPECT_FALSE(callAgent("org.freedesktop.Application.Open", {"'no list'"}));
    EXPECT_FALSE(callAgent("org.freedesktop.Application.Quit", {}));
    EXPECT_TRUE(agent->isRunning());
}

TEST_F(DesktopLink, ThatArrivesDuringAnAlertWaitsForItsEnd) {
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99\"}"});
    startWaitingAgent();
    ASSERT_TRUE(open("['" + server.link("first") + "']"));
    dialogText();
    server.setAnswer(devserver::Endpoint::version, std::nullopt);
    ASSERT_TRUE(open("['" + server.link("second") + "']"));
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("second")), 0U);
    display.pressKey("Escape");
    EXPECT_NE(server.waitForAgent("second", limit), nullptr);
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("first")), 1U);
}

TEST_F(DesktopLink, SecondWaitingAgentGoesOnWithoutTheName) {
    startWaitingAgent();
    const auto second = startProgram(QUILLET_AGENT);
    EXPECT_TRUE(second->waitForLog("No links from the desktop: another agent takes them already"));
    EXPECT_TRUE(second->isRunning());
    ASSERT_TRUE(open("['" + server.link("first") + "']"));
    EXPECT_TRUE(agent->waitForLog("Launching with custom URL: "));
}

TEST_F(DesktopLink, AgentWithALinkOnItsCommandLineLeavesTheNameToOthers) {
    startSessionOnDesktop();
    EXPECT_FALSE(isOnBus());
}

/// What a desktop with GIO does with a link (GNOME and its kin, where xdg-open calls `gio open`).
TEST_F(DesktopLink, ReachesTheWaitingAgentThroughItsRegisteredEntryAndXdgOpen) {
    useRealTools();
    startWaitingAgent();
    auto variables = desktopEnvironment();
    variables["XDG_CURRENT_DESKTOP"] = "GNOME";
    AgentProcess browser(home, {server.link("clicked")}, variables, "/usr/bin/xdg-open");
    ASSERT_NE(waitForSession(), nullptr) << browser.output();
    EXPECT_EQ(session->room(), "clicked");
    EXPECT_EQ(browser.waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("clicked")), 1U);
}

/// Without a desktop environment xdg-open runs the entry's Exec line itself.
TEST_F(DesktopLink, StartsAnAgentOfItsOwnWhereXdgOpenKnowsNoBus) {
    useRealTools();
    startWaitingAgent();
    const auto browser = startProgram("/usr/bin/xdg-open", {server.link("clicked")});
    ASSERT_NE(waitForSession(), nullptr) << browser->output();
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("clicked")), 0U);
    session->sendCommand("TERMINATE_CLIENT");
    EXPECT_EQ(browser->waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_TRUE(agent->isRunning());
}

/// After `install` and a new login the desktop starts the agent for the first link.
class InstalledAgent : public DesktopLink {
protected:
    void install(const std::string& program) {
        useRealTools();
        agent = startProgram(program, {"install"});
        ASSERT_TRUE(display.waitForMainWindow().has_value());
        dialogText();
        display.pressKey("Return");
        expectEnd({1, 0});
    }
    /// The agent is not a child of the test: it ends with its session.
    void expectLinkToStartIt() {
        auto variables = desktopEnvironment();
        variables["XDG_CURRENT_DESKTOP"] = "GNOME";
        AgentProcess browser(home, {server.link("clicked")}, variables, "/usr/bin/xdg-open");
        ASSERT_NE(waitForSession(), nullptr) << browser.output();
        EXPECT_TRUE(isOnBus());
        EXPECT_TRUE(display.waitForMainWindow().has_value());
        session->sendCommand("TERMINATE_CLIENT");
        EXPECT_TRUE(eventually([&] { return !isOnBus(); }));
    }
};

TEST_F(InstalledAgent, IsStartedThroughTheBusAndHasItsIcon) {
    install(QUILLET_AGENT);
    expectLinkToStartIt();
    EXPECT_TRUE(fs::exists(
        home.path() / "home/.local/share/icons/hicolor/scalable/apps/com.quillet.ZqMacClient.svg"));
}

TEST_F(InstalledAgent, MayLieInAFolderWithBlanksAndQuotes) {
    const fs::path folder = home.path() / "it's \"my\" $HOME \\ folder";
    const fs::path built = fs::path(QUILLET_AGENT).parent_path().parent_path();
    for (const char* file : {"bin/ZqMacClient", "lib/quillet-desktop.so"}) {
        fs::create_directories((folder / file).parent_path());
        fs::copy_file(built / file, folder / file);
    }
    install((folder / "bin/ZqMacClient").string());
    expectLinkToStartIt();
}
