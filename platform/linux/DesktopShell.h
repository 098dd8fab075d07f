// SPDX-License-Identifier: MIT
// The desktop shell as the rest of the program sees it: a module that is opened at run time, so
// that a terminal pays nothing for the libraries of windows and of the session bus.
#pragma once

#include "platform/UserInterface.h"

#include <functional>
#include <optional>
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
    /// A link that the desktop hands over: `take` is called on the main thread when it is the
    /// link's turn, and gives nothing if it has been handed back meanwhile. Never called after
    /// that.
    virtual void openURL(std::function<std::optional<std::string>()> take) = 0;
    /// The user has closed the window.
    virtual void windowClosed() = 0;
    /// Writes a log line. From any thread.
    virtual void log(std::string_view line) = 0;
};

class DesktopShell : public UserInterface {
public:
    virtual MainLoop& mainLoop() = 0;

    /// As `Trust` has it.
    virtual bool agrees(const NSAlert& question) = 0;

    /// Takes the program's name on the session bus, unless it has it, and hands the links that come
    /// there to the host. Without a bus, or when another agent has the name, a log line says so.
    virtual void acceptLinks() = 0;

    /// Names the server of the session, in the window's title and wherever a password is asked for,
    /// and the code of its room, in an alert beside those of other agents.
    virtual void showServer(const std::string& server, const std::string& roomCode) = 0;

    /// Names the certificate that signs, by its subject, wherever a password is asked for; empty
    /// when none does.
    virtual void showCertificate(const std::string& subject) = 0;
};

/// What a desktop is opened for.
struct DesktopStart {
    std::string identifier; ///< the bundle's, and the name on the session bus
    std::optional<std::string> link; ///< that the desktop started the program for
};

struct DesktopOutcome {
    bool isLinkHandedOver = false; ///< another agent has taken the link; this one is not needed
    std::string problem; ///< why there is no window
};

/// The module's one function. Null, and the outcome says why, when there is no window. If there is
/// a link to start with and no agent that waits, the program's name on the bus is its own.
using OpenDesktop
    = DesktopShell* (*)(DesktopHost& host, const DesktopStart& start, DesktopOutcome& outcome);
inline constexpr const char* openDesktopSymbol = "quilletOpenDesktop";

} // namespace platform
