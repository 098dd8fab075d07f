// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/ProcessEnd.h"

#import <AppKit/AppKit.h>

/// Passes the life of the application and its events on to the program.
@interface QuilletApplicationDelegate : NSObject <NSApplicationDelegate> {
@public
    platform::NSApplicationDelegate* _program;
    platform::Application* _application;
    platform::ModalWork* _modalWork;
    platform::AppleEventHandler _handler;
}
@end

@implementation QuilletApplicationDelegate
- (void)applicationWillFinishLaunching:(NSNotification*)notification {
    _program->applicationWillFinishLaunching();
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
    return YES;
}

- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)sender {
    return YES;
}

/// After this the platform ends the process with status 0.
- (void)applicationWillTerminate:(NSNotification*)notification {
    _program->applicationWillTerminate();
    platform::flushNetwork();
}

/// An event that comes during a modal alert waits for the default mode of the run loop; else its
/// alerts would be nested in that one. Any other is handled here.
- (void)handleEvent:(NSAppleEventDescriptor*)event
     withReplyEvent:(NSAppleEventDescriptor*)replyEvent {
    platform::AppleEventDescriptor descriptor; // of the one parameter that the program reads
    NSAppleEventDescriptor* const parameter = [event paramDescriptorForKeyword:keyDirectObject];
    if (parameter != nil) {
        descriptor.parameters[platform::keyDirectObject].stringValue
            = platform::optionalTextOf(parameter.stringValue);
    }
    if (_modalWork->isRunning()) {
        _application->performOnMainThread(
            [handler = _handler, descriptor] { handler(&descriptor, nullptr); });
    } else {
        _handler(&descriptor, nullptr);
    }
}
@end

namespace platform {

namespace {

class MacApplication final : public Application {
public:
    MacApplication(int argc, char** argv, std::shared_ptr<ModalWork> modalWork)
        : m_argc(argc)
        , m_argv(const_cast<const char**>(argv))
        , m_modalWork(std::move(modalWork)) {
        m_delegate->_application = this;
        m_delegate->_modalWork = m_modalWork.get();
    }

    int run(NSApplicationDelegate& delegate) override {
        m_delegate->_program = &delegate;
        // Else an argument would be opened as a document, and its failure shown before all else.
        [[NSUserDefaults standardUserDefaults]
            registerDefaults:@{@"NSTreatUnknownArgumentsAsOpen" : @"NO"}];
        [NSApplication sharedApplication].delegate = m_delegate;
        delegate.loadMainInterface();
        return NSApplicationMain(m_argc, m_argv); // does not return
    }

    void setEventHandler(
        AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId) override {
        m_delegate->_handler = std::move(handler);
        const SEL selector = @selector(handleEvent:withReplyEvent:);
        [[NSAppleEventManager sharedAppleEventManager] setEventHandler:m_delegate
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
        return m_modalWork->makeSemaphore(value);
    }

    [[noreturn]] void exit(int status) override { flushAndExit(status); }
    [[noreturn]] void abort() override { flushAndAbort(); }

private:
    const int m_argc;
    const char** const m_argv;
    const std::shared_ptr<ModalWork> m_modalWork;
    // Kept here, for the platform does not keep it alive.
    QuilletApplicationDelegate* const m_delegate = [[QuilletApplicationDelegate alloc] init];
};

} // namespace

std::unique_ptr<Application> makeMacApplication(
    int argc, char** argv, std::shared_ptr<ModalWork> modalWork) {
    return std::make_unique<MacApplication>(argc, argv, std::move(modalWork));
}

} // namespace platform
