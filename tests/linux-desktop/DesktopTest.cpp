// SPDX-License-Identifier: MIT
#include "tests/linux-desktop/DesktopTest.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

DesktopTest::DesktopTest(devserver::ServerOptions options)
    : SessionTest(std::move(options)) {
    fs::create_directory(home.path() / "run");
    fs::permissions(home.path() / "run", fs::perms::owner_all);
    bus = std::make_unique<SessionBus>(home.path(), home.path() / "home", desktopEnvironment());
}

std::map<std::string, std::string> DesktopTest::desktopEnvironment() const {
    auto variables = home.environment();
    variables["DISPLAY"] = display.name();
    variables["XDG_RUNTIME_DIR"] = (home.path() / "run").string();
    variables["SSL_CERT_FILE"] = (home.path() / "ca.pem").string();
    if (bus) {
        variables["DBUS_SESSION_BUS_ADDRESS"] = bus->address();
    }
    for (const auto& [name, value] : environment) {
        variables[name] = value;
    }
    return variables;
}

std::unique_ptr<AgentProcess> DesktopTest::startProgram(
    const std::string& program, const std::vector<std::string>& arguments) const {
    return std::make_unique<AgentProcess>(home, arguments, desktopEnvironment(), program);
}

void DesktopTest::startOnDesktop(const std::vector<std::string>& arguments) {
    agent = startProgram(QUILLET_AGENT, arguments);
    dialog = 0; // a new process may get the window numbers of an earlier one
    const auto shown = display.waitForMainWindow();
    ASSERT_TRUE(shown.has_value()) << "no window\n" << agent->output();
    window = *shown;
}

void DesktopTest::startSessionOnDesktop() {
    startOnDesktop({server.link("room-1")});
    ASSERT_NE(waitForSession(), nullptr);
    greet();
}

bool DesktopTest::callAgent(
    const std::string& method, const std::vector<std::string>& arguments) const {
    std::vector<std::string> words{"call", "--session", "--dest", "com.quillet.ZqMacClient",
        "--object-path", "/com/quillet/ZqMacClient", "--method", method};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto call = startProgram("/usr/bin/gdbus", words);
    return call->waitForEnd() == ProcessEnd{0, 0};
}

std::string DesktopTest::dialogText() {
    const auto shown = display.waitForDialog(dialog);
    if (!shown) {
        ADD_FAILURE() << "no dialog";
        return {};
    }
    dialog = *shown;
    EXPECT_EQ(display.visibleWindows().back(), dialog) << "not in front";
    EXPECT_EQ(display.title(dialog), "Quillet");
    return display.copiedText().value_or("nothing is copied");
}

std::string DesktopTest::statusText() {
    display.focus(window);
    display.pressKey("a", {"Control_L"});
    return display.copiedText().value_or("nothing is copied");
}

void DesktopTest::expectAlert(const std::string& message, const std::string& details) {
    EXPECT_THAT(dialogText(), StartsWith(message + "\n" + details));
    EXPECT_TRUE(agent->isRunning());
    const auto before = agent->log();
    ASSERT_FALSE(before.empty());
    EXPECT_THAT(before.back(), StartsWith("FATAL ERROR: " + message + ", details: " + details));
    display.pressKey("Return");
    expectEnd({1, 0});
    EXPECT_EQ(agent->log().back(), "Exiting application after fatal error");
}
