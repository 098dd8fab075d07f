// SPDX-License-Identifier: MIT
// The window of a session, its keys, and its end.
#include "tests/linux-desktop/DesktopTest.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class DesktopWindow : public DesktopTest { };

TEST_F(DesktopWindow, ShowsTheStepsOfASessionOneALine) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    EXPECT_EQ(display.title(window), "localhost:" + std::to_string(server.port()) + " - Quillet");
    listCertificates();
    const std::string text = statusText();
    EXPECT_THAT(
        text, StartsWith("Starting Quillet version " QUILLET_VERSION ".\nRunning on macOS "));
    EXPECT_THAT(text,
        HasSubstr(".\nChecking for application updates...\nNo application updates found.\n"
                  "Connected to Quillet server\nListing certificates\n"));
    EXPECT_EQ(agent->output(), "") << "the window's text on standard output";
}

TEST_F(DesktopWindow, TextCannotBeChanged) {
    startOnDesktop({});
    const std::string before = statusText();
    display.type("x");
    display.pressKey("Delete");
    display.pressKey("v", {"Control_L"});
    EXPECT_EQ(statusText(), before);
}

TEST_F(DesktopWindow, EndOfTheSessionTakesItAway) {
    startSessionOnDesktop();
    session->sendCommand("TERMINATE_CLIENT");
    const auto close = session->waitForClose(limit);
    ASSERT_TRUE(close.has_value());
    EXPECT_TRUE(close->handshake);
    expectEnd({0, 0});
    EXPECT_FALSE(display.isThere(window));
}

TEST_F(DesktopWindow, ClosingItEndsTheAgentAfterWhatWasSentHasGoneOut) {
    startSessionOnDesktop();
    display.closeByTitleBar(window);
    const auto close = session->waitForClose(limit);
    ASSERT_TRUE(close.has_value());
    EXPECT_TRUE(close->handshake);
    expectEnd({0, 0});
}

TEST_F(DesktopWindow, KeysCloseIt) {
    for (const char* key : {"w", "q"}) {
        startOnDesktop({});
        display.focus(window);
        display.pressKey(key, {"Control_L"});
        expectEnd({0, 0});
    }
}

/// A server that takes connections and says nothing.
class SilentServer : public DesktopTest {
protected:
    SilentServer()
        : m_listening(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) { }
    ~SilentServer() override {
        close(m_connection);
        close(m_listening);
    }

    void SetUp() override {
        DesktopTest::SetUp();
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* const where = reinterpret_cast<sockaddr*>(&address);
        ASSERT_EQ(bind(m_listening, where, size), 0); // to a free port
        ASSERT_EQ(listen(m_listening, 1), 0);
        ASSERT_EQ(getsockname(m_listening, where, &size), 0);
        startOnDesktop(
            {"quillet://localhost:" + std::to_string(ntohs(address.sin_port)) + "?roomId=1"});
        m_connection = accept(m_listening, nullptr, nullptr); // the request is on its way
        ASSERT_GE(m_connection, 0);
    }

private:
    int m_listening;
    int m_connection = -1;
};

TEST_F(SilentServer, WindowIsPaintedAndAnswersKeysWhileARequestRuns) {
    EXPECT_THAT(statusText(), HasSubstr("Checking for application updates..."));
    const auto shown = display.imageOf(window);
    display.uncover(display.coverAll());
    EXPECT_TRUE(eventually([&] { return display.imageOf(window) == shown; }));
}

TEST_F(SilentServer, WindowCanBeClosedWhileARequestRuns) {
    display.closeByTitleBar(window);
    expectEnd({0, 0});
}

TEST_F(DesktopWindow, TakesItsLibrariesFromTheModule) {
    auto variables = desktopEnvironment();
    variables.merge(notingLoadedFiles(home));
    agent = std::make_unique<AgentProcess>(home, std::vector<std::string>{}, variables);
    ASSERT_TRUE(display.waitForMainWindow().has_value());
    const std::string files = loadedFiles(home, agent->pid());
    EXPECT_THAT(files, HasSubstr("quillet-desktop.so"));
    EXPECT_THAT(files, HasSubstr("libQt6Widgets"));
}

class NoDesktop : public DesktopTest {
protected:
    void startWith(const std::map<std::string, std::string>& changes) {
        auto variables = desktopEnvironment();
        for (const auto& [name, value] : changes) {
            variables[name] = value;
        }
        agent = std::make_unique<AgentProcess>(
            home, std::vector<std::string>{}, variables, QUILLET_AGENT);
    }
};

TEST_F(NoDesktop, DisplayThatDoesNotAnswerMeansTheTerminalAndOneLogLine) {
    startWith({{"DISPLAY", ":no-such-display"}});
    ASSERT_TRUE(agent->waitForOutput("Running on macOS "));
    ASSERT_TRUE(agent->waitForLog("No window, because "));
    EXPECT_THAT(agent->log().back(), HasSubstr("the display :no-such-display does not answer"));
    EXPECT_TRUE(agent->isRunning());
}

TEST_F(NoDesktop, ModuleThatOthersMayChangeIsNotLoaded) {
    namespace fs = std::filesystem;
    const fs::path built = fs::path(QUILLET_AGENT).parent_path().parent_path();
    const fs::path copy = home.path() / "copy";
    fs::create_directories(copy / "bin");
    const fs::path lib = copy / "lib/quillet-agent";
    fs::create_directories(lib);
    fs::copy(QUILLET_AGENT, copy / "bin/ZqMacClient");
    fs::copy(built / "lib/quillet-agent/quillet-desktop.so", lib);
    fs::permissions(lib, fs::perms::group_write, fs::perm_options::add);
    agent = startProgram((copy / "bin/ZqMacClient").string());
    ASSERT_TRUE(agent->waitForLog("No window, because "));
    EXPECT_THAT(agent->log().back(), HasSubstr(lib.string() + " can be changed by other users"));
    EXPECT_TRUE(agent->waitForOutput("Running on macOS "));
    agent.reset();
    fs::permissions(lib, fs::perms::group_write, fs::perm_options::remove);
    agent = startProgram((copy / "bin/ZqMacClient").string());
    EXPECT_TRUE(display.waitForMainWindow().has_value());
}

TEST_F(NoDesktop, ProgramThatOthersMayChangeIsNotRegistered) {
    namespace fs = std::filesystem;
    const fs::path copy = home.path() / "copy";
    fs::create_directories(copy);
    fs::copy(QUILLET_AGENT, copy / "ZqMacClient");
    fs::permissions(copy, fs::perms::others_write, fs::perm_options::add);
    agent = startProgram((copy / "ZqMacClient").string(), {"install"});
    ASSERT_TRUE(agent->waitForLog("No links are asked for, because " + copy.string()));
    agent->waitForLog("FATAL ERROR: Quillet, details: Quillet successfully installed.");
    EXPECT_FALSE(
        fs::exists(home.path() / "home/.local/share/applications/com.quillet.ZqMacClient.desktop"));
}

TEST_F(NoDesktop, WaylandDisplayThatDoesNotAnswerMeansTheTerminal) {
    startWith({{"DISPLAY", ""}, {"WAYLAND_DISPLAY", "wayland-none"}});
    ASSERT_TRUE(agent->waitForLog("No window, because the display wayland-none does not answer"));
    EXPECT_TRUE(agent->waitForOutput("Running on macOS "));
}

TEST_F(NoDesktop, MissingSessionBusOnlyCostsALogLine) {
    startWith({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}});
    const auto shown = display.waitForMainWindow();
    ASSERT_TRUE(shown.has_value());
    ASSERT_TRUE(agent->waitForLog("No links from the desktop: there is no session bus"));
    display.focus(*shown);
    display.pressKey("w", {"Control_L"});
    expectEnd({0, 0});
}
