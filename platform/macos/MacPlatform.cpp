// SPDX-License-Identifier: MIT
// The platform of macOS.
#include "platform/macos/MacPlatform.h"

#include "platform/shared/AssembledPlatform.h"
#include "platform/shared/CoreFile.h"

#include <csignal>

namespace platform {

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    forbidCoreFile();
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    const auto modalWork = std::make_shared<ModalWork>(mainDispatchQueue(), makeDispatchSemaphore);
    auto application = makeMacApplication(argc, argv, modalWork);
    auto network = makeMacNetwork(*application);
    return std::make_unique<AssembledPlatform>(std::move(application),
        makeMacUserInterface(modalWork), makeMacSystem(), makeMacSecurity(), std::move(network));
}

} // namespace platform
