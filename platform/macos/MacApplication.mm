// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/ModalApplication.h"
#include "platform/shared/ProcessEnd.h"

#import <AppKit/AppKit.h>

/// Passes the life of the application and its events on to the program.
@interface QuilletApplicationDelegate : NSObject <NSApplicationDelegate> {
@public
    platform::NSApplicationDelegate* _program;
    std::function<void(std::optional<platform::AppleEventParameter> directObject)> _deliver;
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

- (void)handleEvent:(NSAppleEventDescriptor*)event
     withReplyEvent:(NSAppleEventDescriptor*)replyEvent {
    NSAppleEventDescriptor* const object = [event paramDescriptorForKeyword:keyDirectObject];
    const platform::AppleEventParameter parameter{platform::optionalTextOf(object.stringValue)};
    _deliver(object == nil ? std::nullopt : std::optional(parameter));
}
@end

namespace platform {

namespace {

class MacApplication final : public ModalApplication {
public:
    MacApplication(int argc, char** argv, std::shared_ptr<ModalWork> modalWork)
        : ModalApplication(std::move(modalWork))
        , m_argc(argc)
        , m_argv(const_cast<const char**>(argv)) { }

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
        m_delegate->_deliver = [this, handler](auto object) { deliver(handler, object); };
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

private:
    const int m_argc;
    const char** const m_argv;
    // Kept here, for the platform does not keep it alive.
    QuilletApplicationDelegate* const m_delegate = [[QuilletApplicationDelegate alloc] init];
};

} // namespace

std::unique_ptr<Application> makeMacApplication(
    int argc, char** argv, std::shared_ptr<ModalWork> modalWork) {
    return std::make_unique<MacApplication>(argc, argv, std::move(modalWork));
}

} // namespace platform
