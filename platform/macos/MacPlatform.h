// SPDX-License-Identifier: MIT
// The five answers of macOS, for the one place that puts them together.
#pragma once

#include "platform/Platform.h"
#include "platform/macos/ModalWork.h"

namespace platform {

/// `NSApplication` and the main run loop. Flushes the installed platform's network at the end.
std::unique_ptr<Application> makeMacApplication(int argc, char** argv, ModalWork& modalWork);
/// The window, alerts, notifications and pages of AppKit.
std::unique_ptr<UserInterface> makeMacUserInterface(ModalWork& modalWork);
/// The main bundle, the process, the log and the digests.
std::unique_ptr<System> makeMacSystem();
/// The user's keychain. A query may hold the keys and constants of platform/Security.h and truth
/// values; anything else is answered with errSecParam.
std::unique_ptr<Security> makeMacSecurity();
/// `NSURLSession`, which follows the user's proxy settings and trust.
std::unique_ptr<Network> makeMacNetwork(Application& application);

} // namespace platform
