// SPDX-License-Identifier: MIT
// The ambient platform: the five interfaces through which the program reaches its system.
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"
#include "platform/Security.h"
#include "platform/System.h"
#include "platform/UserInterface.h"

#include <memory>
#include <string_view>

namespace platform {

class Platform {
public:
    virtual ~Platform() = default;
    virtual Application& application() = 0;
    virtual UserInterface& userInterface() = 0;
    virtual System& system() = 0;
    virtual Security& security() = 0;
    virtual Network& network() = 0;
};

/// The installed platform. Without one the process is aborted.
Platform& current();

/// Installs a platform for its own lifetime and brings the earlier one back.
class PlatformScope {
public:
    explicit PlatformScope(Platform& platform);
    PlatformScope(const PlatformScope&) = delete;
    PlatformScope& operator=(const PlatformScope&) = delete;
    ~PlatformScope();

private:
    Platform* m_previous;
};

/// The platform that this program was built for. Each operating system's folder defines it.
std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv);

/// Writes the parts as one log line.
template <typename... Parts>
void NSLog(const Parts&... parts) {
    const LogPiece pieces[] = {LogPiece(parts)...};
    current().system().NSLog(pieces);
}

/// An assumption of the program does not hold: logs "Fatal error: " + `what`, then aborts.
[[noreturn]] void fatalError(std::string_view what);

/// `Application::exit` of the installed platform.
[[noreturn]] void exitProcess(int status);

} // namespace platform
