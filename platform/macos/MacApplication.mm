// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"

#import <AppKit/AppKit.h>
#include <chrono>
#include <cstdlib>

namespace {

void flushNetwork() {
    constexpr std::chrono::seconds limit{5};
    platform::current().network().flush(limit);
}

} // namespace

/// Passes the life of the application on to the program.
@interface QuilletApplicationDelegate : NSObject <NSApplicationDelegate> {
@public
    platform::NSApplicationDelegate* _program;
}
@end

@implementation QuilletApplicationDelegate
- (void)applicationWillFinishLaunching:(NSNotification*)notification {
    _program->applicationWillFinishLaunching();
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
    return YES;
}

/// After this the platform ends the process with status 0.
- (void)applicationWillTerminate:(NSNotification*)notification {
    _program->applicationWillTerminate();
    flushNetwork();
}
@end

/// Receives the events of one class and ID.
@interface QuilletEventReceiver : NSObject {
@public
    platform::AppleEventHandler _handler;
    platform::Application* _application;
}
@end

@implementation QuilletEventReceiver
/// Handed on to the default mode of the run loop: an event that comes during a modal alert waits.
- (void)handleEvent:(NSAppleEventDescriptor*)event
     withReplyEvent:(NSAppleEventDescriptor*)replyEvent {
    platform::AppleEventDescriptor descriptor; // of the one parameter that the program reads
    NSAppleEventDescriptor* const parameter = [event paramDescriptorForKeyword:keyDirectObject];
    if (parameter != nil) {
        NSString* const value = parameter.stringValue;
        descriptor.parameters[platform::keyDirectObject].stringValue
            = value == nil ? std::nullopt : std::optional(platform::textOfString(value));
    }
    _application->performOnMainThread(
        [handler = _handler, descriptor] { handler(&descriptor, nullptr); });
}
@end

namespace platform {

namespace {

class MacApplication final : public Application {
public:
    MacApplication(int argc, char** argv, ModalWork& modalWork)
        : m_argc(argc)
        , m_argv(const_cast<const char**>(argv))
        , m_modalWork(modalWork) { }

    int run(NSApplicationDelegate& delegate) override {
        m_delegate = [[QuilletApplicationDelegate alloc] init];
        m_delegate->_program = &delegate;
        [NSApplication sharedApplication].delegate = m_delegate;
        delegate.loadMainInterface();
        return NSApplicationMain(m_argc, m_argv); // does not return
    }

    void setEventHandler(
        AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId) override {
        m_eventReceiver = [[QuilletEventReceiver alloc] init];
        m_eventReceiver->_handler = std::move(handler);
        m_eventReceiver->_application = this;
        const SEL selector = @selector(handleEvent:withReplyEvent:);
        [[NSAppleEventManager sharedAppleEventManager] setEventHandler:m_eventReceiver
                                                           andSelector:selector
                                                         forEventClass:eventClass
                                                            andEventID:eventId];
    }

    /// In the default mode of the run loop, so that nothing is done while a modal alert is up.
    void performOnMainThread(std::function<void()> work) override {
        // Shared, for a block copies what it captures.
        const auto shared = std::make_shared<const std::function<void()>>(std::move(work));
        CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopDefaultMode, ^{
            @autoreleasepool {
                (*shared)();
            }
        });
        CFRunLoopWakeUp(CFRunLoopGetMain());
    }

    std::unique_ptr<Semaphore> makeSemaphore(long value) override {
        return m_modalWork.makeSemaphore(value);
    }

    [[noreturn]] void exit(int status) override {
        flushNetwork();
        std::exit(status);
    }

    [[noreturn]] void abort() override {
        flushNetwork();
        std::abort();
    }

private:
    const int m_argc;
    const char** const m_argv;
    ModalWork& m_modalWork;
    QuilletApplicationDelegate* m_delegate = nil; // the platform keeps neither alive
    QuilletEventReceiver* m_eventReceiver = nil;
};

} // namespace

std::unique_ptr<Application> makeMacApplication(int argc, char** argv, ModalWork& modalWork) {
    return std::make_unique<MacApplication>(argc, argv, modalWork);
}

} // namespace platform
