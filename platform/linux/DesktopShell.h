// SPDX-License-Identifier: MIT
// The desktop shell as the rest of the program sees it: a module that is opened at run time, so
// that a terminal pays nothing for the libraries of windows and of the session bus.
#pragma once

#include "platform/UserInterface.h"

#include <functional>
#include <string>
#include <string_view>

namespace platform {

class MainLoop;

/// What the desktop shell asks of the program. It outlives the shell.
class DesktopHost {
public:
    virtual ~DesktopHost() = default;
    /// Runs `work` on the main thread and returns when it is done. From any thread.
    virtual void runModally(const std::function<void()>& work) = 0;
    /// A link that the desktop hands over.
    virtual void openURL(std::string url) = 0;
    /// The user has closed the window.
    virtual void windowClosed() = 0;
    /// Writes a log line. From any thread.
    virtual void log(std::string_view line) = 0;
};

class DesktopShell : public UserInterface {
public:
    virtual MainLoop& mainLoop() = 0;

    /// Takes the program's name on the session bus and hands the links that come there to the
    /// host. Without a bus, or when another agent has the name, a log line says so.
    virtual void acceptLinks() = 0;
};

/// The module's one function. `identifier` is the bundle's, and the name on the session bus. Null,
/// with the cause in `problem`, when no window can be shown.
using OpenDesktop
    = DesktopShell* (*)(DesktopHost& host, const std::string& identifier, std::string& problem);
inline constexpr const char* openDesktopSymbol = "quilletOpenDesktop";

} // namespace platform
