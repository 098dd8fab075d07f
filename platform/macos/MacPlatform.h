// SPDX-License-Identifier: MIT
// What the answers of macOS are made of, for the one place that puts them together.
#pragma once

#include "platform/Platform.h"
#include "platform/shared/MessageNetwork.h"
#include "platform/shared/ModalWork.h"

namespace platform {

/// `NSApplication` and the main run loop. Flushes the installed platform's network at the end.
std::unique_ptr<Application> makeMacApplication(
    int argc, char** argv, std::shared_ptr<ModalWork> modalWork);
class MacUserInterface : public UserInterface {
public:
    /// The window's title names the server; "" for none.
    virtual void showServer(const std::string& server) = 0;
};
/// The window, alerts, notifications and pages of AppKit.
std::unique_ptr<MacUserInterface> makeMacUserInterface(std::shared_ptr<ModalWork> modalWork);
/// Asks a question of trust in an alert, as `Trust` has it.
bool agreesInAlert(ModalWork& modalWork, const NSAlert& question);
/// The main bundle, the process, the log and the digests.
std::unique_ptr<System> makeMacSystem(std::vector<std::string> arguments);

class MacSecurity : public Security {
public:
    /// What the user refused in the session before is asked for again.
    virtual void beginSession() = 0;
    /// Locks the default keychain.
    virtual void lock() = 0;
};
/// The user's keychain. A query may hold the keys and constants of platform/Security.h and truth
/// values; anything else is answered with errSecParam. When the user refuses the keychain's own
/// question, no key is used any more in that session, and `userInterface` offers to end it.
std::unique_ptr<MacSecurity> makeMacSecurity(
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
