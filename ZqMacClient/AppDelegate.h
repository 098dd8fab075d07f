// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"

#include <string>

class ViewController;

/// Start-up, the command line and URL events. Main thread.
class AppDelegate {
public:
    void applicationWillFinishLaunching();
    void applicationWillTerminate();

    /// A URL event; ignored when a URL was given on the command line.
    void handleEvent(const platform::AppleEventDescriptor* event,
        const platform::AppleEventDescriptor* replyEvent);

    /// Standard error goes to the log file from now on.
    void redirectLog();

private:
    void registerUrlHandling();
    void appendStartLines();
    void readCommandLine();
    void startSession(const std::string& serverUrl);

    ViewController* m_viewController = nullptr;
    bool m_overrideUrl = false;
};
