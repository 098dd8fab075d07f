// SPDX-License-Identifier: MIT
// A signing server, a display, a session bus and the agent on them, for one test.
#pragma once

#include "tests/e2e/SessionTest.h"
#include "tests/linux-desktop/SessionBus.h"
#include "tests/linux-desktop/XDisplay.h"

class DesktopTest : public SessionTest {
protected:
    explicit DesktopTest(devserver::ServerOptions options = {});

    /// What a program of this desktop finds: display, bus, runtime folder, trusted authority.
    std::map<std::string, std::string> desktopEnvironment() const;

    /// The agent, up to its window.
    void startOnDesktop(const std::vector<std::string>& arguments);
    /// The same, up to the server's greeting having been answered.
    void startSessionOnDesktop();
    /// A program of this desktop; its output is its standard output.
    std::unique_ptr<AgentProcess> startProgram(
        const std::string& program, const std::vector<std::string>& arguments = {}) const;
    /// Calls a method of the agent on the bus, by `gdbus`; false when that fails.
    bool callAgent(const std::string& method, const std::vector<std::string>& arguments) const;

    /// Waits for the dialog and returns its text: message, line break, details.
    std::string dialogText();
    /// The status view's text, copied by hand.
    std::string statusText();
    /// Expects this alert in front, with its log lines around its dismissal, and status 1.
    void expectAlert(const std::string& message, const std::string& details);

    XDisplay display;
    std::unique_ptr<SessionBus> bus;
    XDisplay::WindowId window = 0;
    XDisplay::WindowId dialog = 0;
};
