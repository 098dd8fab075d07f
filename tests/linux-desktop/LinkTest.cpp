// SPDX-License-Identifier: MIT
// Links that the desktop hands over: by starting the program, which hands them to the agent that
// waits on the session bus or else is that agent itself.
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

TEST_F(DesktopLink, WhatOneServerHadUnlockedIsLockedForTheNext) {
    home.makeProtectedIdentity("Correct7");
    startWaitingAgent();
    for (const char* room : {"first", "second"}) {
        ASSERT_TRUE(open("['" + server.link(room) + "']"));
        ASSERT_NE(waitForSession(), nullptr);
        greet();
        session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
        const auto prompt = display.waitForDialog(dialog);
        ASSERT_TRUE(prompt.has_value()) << "signs in the room " << room << " without a prompt";
        dialog = *prompt;
        display.type("Correct7");
        display.pressKey("Return");
        EXPECT_TRUE(receive("SIGN_PDF_RESPONSE").at("payload").at("signature").is_string());
    }
}

TEST_F(DesktopLink, ItsServerStandsInTheTitleOfTheWindow) {
    startWaitingAgent();
    EXPECT_EQ(display.title(window), "Quillet");
    ASSERT_TRUE(open("['" + server.link("first") + "']"));
    const std::string title = "localhost:" + std::to_string(server.port()) + " - Quillet";
    EXPECT_TRUE(eventually([&] { return display.title(window) == title; }))
        << display.title(window);
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
    const auto second = startProgram(QUILLET_AGENT, {"--link", server.link("second")});
    EXPECT_TRUE(eventually([&] { return display.visibleWindows().back() == dialog; }));
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("second")), 0U);
    display.pressKey("Escape");
    EXPECT_EQ(second->waitForEnd(), (ProcessEnd{0, 0}));
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

/// Without a desktop environment xdg-open runs the entry's Exec line itself, and waits for it.
TEST_F(DesktopLink, ReachesTheWaitingAgentThroughXdgOpenWithoutADesktop) {
    useRealTools();
    startWaitingAgent();
    const auto browser = startProgram("/usr/bin/xdg-open", {server.link("clicked")});
    ASSERT_NE(waitForSession(), nullptr) << browser->output();
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("clicked")), 1U);
    EXPECT_EQ(browser->waitForEnd(), (ProcessEnd{0, 0}));
    session->sendCommand("TERMINATE_CLIENT");
    expectEnd({0, 0});
}

TEST_F(DesktopLink, OnTheUsersOwnCommandLineIsForThatAgentAlone) {
    startWaitingAgent();
    const auto second = startProgram(QUILLET_AGENT, {server.link("typed")});
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_TRUE(second->waitForLog("Overriding custom URL with command line URL: "));
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("typed")), 0U);
}

/// Agents as the desktop starts them for a click.
class DesktopClick : public DesktopLink {
protected:
    std::unique_ptr<AgentProcess> click(const std::string& room) const {
        return startProgram(QUILLET_AGENT, {"--link", server.link(room)});
    }
    std::size_t windows() { return display.visibleWindows().size(); }
};

TEST_F(DesktopClick, StartsTheAgentThatFurtherLinksGoTo) {
    agent = click("first");
    ASSERT_NE(waitForSession(), nullptr);
    greet();
    EXPECT_TRUE(isOnBus());
    EXPECT_EQ(countOf("Launching with custom URL: " + server.link("first")), 1U);
    const auto second = click("second");
    EXPECT_EQ(second->waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_TRUE(second->log().empty()) << second->log().front();
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_EQ(session->room(), "second");
    EXPECT_EQ(windows(), 1U);
}

TEST_F(DesktopClick, OfTwoAtOnceOneStartsTheAgentAndTheOtherReachesIt) {
    const auto first = click("clicked");
    const auto second = click("clicked");
    ASSERT_NE(waitForSession(), nullptr);
    ASSERT_TRUE(eventually([&] { return first->isRunning() != second->isRunning(); }));
    AgentProcess& ended = first->isRunning() ? *second : *first;
    EXPECT_EQ(ended.waitForEnd(), (ProcessEnd{0, 0}));
    const auto log = (first->isRunning() ? first : second)->log();
    EXPECT_EQ(
        std::count(log.begin(), log.end(), "Launching with custom URL: " + server.link("clicked")),
        2);
    EXPECT_EQ(windows(), 1U);
}

TEST_F(DesktopClick, IsServedByANewAgentWhenTheOneBeforeEndsInstead) {
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"99\"}"});
    server.setAnswer(devserver::Endpoint::bundle,
        devserver::HttpAnswer{200, "{\"value\":\"https://example.org/new\"}"});
    agent = click("first");
    dialogText(); // it asks whether to download, and then ends
    const auto second = click("second");
    EXPECT_TRUE(eventually([&] { return display.visibleWindows().back() == dialog; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // so that the link waits there
    EXPECT_TRUE(second->isRunning());
    server.setAnswer(devserver::Endpoint::version, std::nullopt);
    display.pressKey("Return");
    expectEnd({0, 0});
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_EQ(session->room(), "second");
    EXPECT_TRUE(second->waitForLog("Launching with custom URL: " + server.link("second")));
    EXPECT_TRUE(isOnBus());
}

TEST_F(DesktopClick, IsServedByANewAgentDuringTheFatalAlertOfAnother) {
    startOnDesktop({"--link", "quillet://localhost/no-room"});
    dialogText();
    const auto second = click("second");
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_TRUE(second->isRunning());
    EXPECT_TRUE(agent->isRunning());
}

TEST_F(DesktopClick, WithoutABusIsServedAlone) {
    auto variables = desktopEnvironment();
    variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nowhere";
    agent = std::make_unique<AgentProcess>(
        home, std::vector<std::string>{"--link", server.link("clicked")}, variables, QUILLET_AGENT);
    ASSERT_NE(waitForSession(), nullptr);
    EXPECT_TRUE(agent->waitForLog("No links from the desktop: there is no session bus"));
}

/// After `install` the desktop starts the agent for the first link.
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

TEST_F(InstalledAgent, IsStartedByItsEntryAndHasItsIcon) {
    install(QUILLET_AGENT);
    expectLinkToStartIt();
    EXPECT_TRUE(fs::exists(
        home.path() / "home/.local/share/icons/hicolor/scalable/apps/com.quillet.ZqMacClient.svg"));
}

TEST_F(InstalledAgent, MayLieInAFolderWithBlanksAndQuotes) {
    const fs::path folder = home.path() / "it's \"my\" $HOME \\ folder";
    const fs::path built = fs::path(QUILLET_AGENT).parent_path().parent_path();
    for (const char* file : {"bin/ZqMacClient", QUILLET_DESKTOP_MODULE}) {
        fs::create_directories((folder / file).parent_path());
        fs::copy_file(built / file, folder / file);
    }
    install((folder / "bin/ZqMacClient").string());
    expectLinkToStartIt();
}
