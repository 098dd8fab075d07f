// SPDX-License-Identifier: MIT
// The running application: launch, run loop, URL events, the main thread, the end of the process.
#pragma once

#include "platform/Types.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// One parameter of an event; its string value may be missing.
struct AppleEventParameter {
    std::optional<std::string> stringValue;
};

/// An event with its parameters by keyword.
struct AppleEventDescriptor {
    std::map<FourCharCode, AppleEventParameter> parameters;

    /// The parameter under `keyword`, or null.
    const AppleEventParameter* paramDescriptorForKeyword(FourCharCode keyword) const {
        const auto found = parameters.find(keyword);
        return found == parameters.end() ? nullptr : &found->second;
    }
};

inline constexpr FourCharCode kInternetEventClass = fourCharCode("GURL");
inline constexpr FourCharCode kAEGetURL = fourCharCode("GURL");
inline constexpr FourCharCode keyDirectObject = fourCharCode("----");

/// Receives the event and the reply event; either may be null.
using AppleEventHandler
    = std::function<void(const AppleEventDescriptor* event, const AppleEventDescriptor* reply)>;

/// What the platform tells the program in the course of its life, on the main thread.
class NSApplicationDelegate {
public:
    virtual ~NSApplicationDelegate() = default;

    /// The main interface description is loaded: the window with its status view exists.
    virtual void loadMainInterface() = 0;
    virtual void applicationWillFinishLaunching() = 0;
    virtual void applicationWillTerminate() = 0;
};

/// A counting semaphore. While the main thread waits, the platform goes on serving what other
/// threads must have done there (a modal alert), and nothing else.
class Semaphore {
public:
    virtual ~Semaphore() = default;
    virtual void wait() = 0;
    virtual void signal() = 0;
};

class Application {
public:
    virtual ~Application() = default;

    /// Loads the main interface, launches, and runs the main thread's loop. Returns when the
    /// platform ends the application (a closed window), with the exit status.
    virtual int run(NSApplicationDelegate& delegate) = 0;

    /// `NSAppleEventManager`: the handler is called on the main thread, between other events.
    virtual void setEventHandler(
        AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId)
        = 0;

    /// Runs `work` on the main thread after what was handed over before. From any thread.
    virtual void performOnMainThread(std::function<void()> work) = 0;

    virtual std::unique_ptr<Semaphore> makeSemaphore(long value) = 0;

    /// Ends the process with `status` once what was handed to the network for sending has gone
    /// out, for which it waits 5 seconds at most. From any thread; callbacks do not run.
    [[noreturn]] virtual void exit(int status) = 0;

    /// Ends the process by an abort signal, after the same wait. From any thread.
    [[noreturn]] virtual void abort() = 0;
};

} // namespace platform
