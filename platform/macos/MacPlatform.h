// SPDX-License-Identifier: MIT
// What the answers of macOS are made of, for the one place that puts them together.
#pragma once

#include "platform/Platform.h"
#include "platform/Trust.h"
#include "platform/shared/MessageNetwork.h"
#include "platform/shared/ModalUserInterface.h"
#include "platform/shared/SessionSecurity.h"

namespace platform {

/// `NSApplication` and the main run loop. Flushes the installed platform's network at the end.
std::unique_ptr<Application> makeMacApplication(
    int argc, char** argv, std::shared_ptr<ModalWork> modalWork);
/// The window, alerts, notifications and pages of AppKit.
std::unique_ptr<ModalUserInterface> makeMacUserInterface(std::shared_ptr<ModalWork> modalWork);
/// The policy among the preferences of an application: what a configuration profile forces.
ManagedPolicy managedPreferences(const std::string& applicationIdentifier);
/// The main bundle, the process, the log and the digests.
std::unique_ptr<System> makeMacSystem(std::vector<std::string> arguments);
/// The user's keychain. A query may hold the keys and constants of platform/Security.h and truth
/// values; anything else is answered with errSecParam.
std::unique_ptr<SessionSecurity> makeMacSecurity(
    UserInterface& userInterface, std::function<void()> endSession);
/// `NSURLSession`, which follows the user's proxy settings and trust.
std::unique_ptr<MessageNetwork> makeMacNetwork(Application& application);

/// libdispatch's main queue: on the main thread, in every mode of its run loop.
WorkQueue& mainDispatchQueue();
/// The serial queue of all WebSockets.
WorkQueue& networkDispatchQueue();
/// A semaphore of libdispatch, with the value 0.
std::unique_ptr<Semaphore> makeDispatchSemaphore();

} // namespace platform
