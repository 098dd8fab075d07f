// SPDX-License-Identifier: MIT
#include "platform/Trust.h"
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/StatusView.h"
#include "platform/shared/WebPage.h"

#import <AppKit/AppKit.h>
#include <chrono>

namespace platform {

namespace {

/// The main interface: a window that is one scrollable status view, and a menu.
::NSTextView* openMainWindow() {
    NSScrollView* const scrollView = [::NSTextView scrollableTextView];
    ::NSTextView* const textView = scrollView.documentView;
    textView.editable = NO;
    NSWindow* const window =
        [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 560, 320)
                                    styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                    | NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable
                                      backing:NSBackingStoreBuffered
                                        defer:NO];
    window.releasedWhenClosed = NO; // it is owned as any other object
    window.title = @"Quillet";
    // Text without attributes is black, which a dark window would hide.
    window.appearance = [NSAppearance appearanceNamed:NSAppearanceNameAqua];
    window.contentView = scrollView;
    [window center];
    [window makeKeyAndOrderFront:nil];

    NSMenu* const applicationMenu = [[NSMenu alloc] init];
    [applicationMenu addItemWithTitle:@"Copy" action:@selector(copy:) keyEquivalent:@"c"];
    [applicationMenu addItemWithTitle:@"Quit" action:@selector(terminate:) keyEquivalent:@"q"];
    NSMenu* const mainMenu = [[NSMenu alloc] init];
    [mainMenu addItemWithTitle:@"" action:nil keyEquivalent:@""].submenu = applicationMenu;
    [NSApplication sharedApplication].mainMenu = mainMenu;
    return textView;
}

::NSAlert* platformAlertOf(const NSAlert& alert) {
    ::NSAlert* const platformAlert = [[::NSAlert alloc] init];
    [platformAlert setMessageText:stringOfText(alert.messageText)];
    [platformAlert setInformativeText:stringOfText(alert.informativeText)];
    [platformAlert setAlertStyle:static_cast<::NSAlertStyle>(alert.alertStyle)];
    for (const std::string& button : alert.buttons) {
        [platformAlert addButtonWithTitle:stringOfText(button)];
    }
    [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
    return platformAlert;
}

/// Runs an alert whose last button is the answer to Return and Escape, and whose others can be
/// pressed only after a while.
NSModalResponse runGuarded(::NSAlert* alert) {
    NSButton* const last = alert.buttons.lastObject;
    for (NSButton* button in alert.buttons) {
        button.keyEquivalent = button == last ? @"\r" : @"";
        button.enabled = button == last;
    }
    NSTimer* const timer =
        [NSTimer timerWithTimeInterval:std::chrono::duration<double>(guardedFor).count() repeats:NO
                                 block:^(NSTimer*) {
                                     for (NSButton* button in alert.buttons) {
                                         button.enabled = YES;
                                     }
                                 }];
    [[NSRunLoop currentRunLoop] addTimer:timer forMode:NSModalPanelRunLoopMode];
    constexpr unsigned short escapeKey = 53;
    const id monitor = [NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                             handler:^NSEvent*(NSEvent* event) {
                                                                 if (event.keyCode != escapeKey) {
                                                                     return event;
                                                                 }
                                                                 [last performClick:nil];
                                                                 return nil;
                                                             }];
    const NSModalResponse response = [alert runModal];
    [NSEvent removeMonitor:monitor];
    [timer invalidate];
    return response;
}

class MacUserInterface final : public UserInterface {
public:
    explicit MacUserInterface(std::shared_ptr<ModalWork> modalWork)
        : m_modalWork(std::move(modalWork)) { }

    NSTextView* statusTextView() override {
        if (!m_statusView) {
            ::NSTextView* const view = openMainWindow();
            m_statusView = std::make_unique<StatusView>([view](std::string_view text) {
                [view.textStorage appendAttributedString:[[NSAttributedString alloc]
                                                             initWithString:stringOfText(text)]];
            });
        }
        return m_statusView.get();
    }

    int runModal(const NSAlert& alert) override {
        NSModalResponse response = 0;
        m_modalWork->run([&] {
            ::NSAlert* const platformAlert = platformAlertOf(alert);
            response = [platformAlert runModal];
        });
        return static_cast<int>(response);
    }

// Deprecated, but shown without asking the user for leave first. Looked up by name, so that a
// system that has it no more starts the agent all the same, without notifications.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    void deliverNotification(const NSUserNotification& notification) override {
        ::NSUserNotification* const shown = [[NSClassFromString(@"NSUserNotification") alloc] init];
        shown.title = stringOfText(notification.title.value_or(""));
        shown.informativeText = stringOfText(notification.informativeText.value_or(""));
        NSUserNotificationCenter* const center =
            [NSClassFromString(@"NSUserNotificationCenter") defaultUserNotificationCenter];
        [center deliverNotification:shown];
    }
#pragma clang diagnostic pop

    bool openURL(const std::string& url) override {
        NSURL* const address = isWebPage(url) ? [NSURL URLWithString:stringOfText(url)] : nil;
        return address != nil && [[NSWorkspace sharedWorkspace] openURL:address];
    }

    /// The keychain asks for its passwords itself; there is no other token.
    std::optional<std::string> askForPassword(const std::string&, bool) override {
        return std::nullopt;
    }

private:
    const std::shared_ptr<ModalWork> m_modalWork;
    std::unique_ptr<StatusView> m_statusView;
};

} // namespace

bool agreesInAlert(ModalWork& modalWork, const NSAlert& question) {
    NSModalResponse response = 0;
    modalWork.run([&] { response = runGuarded(platformAlertOf(question)); });
    return response == NSAlertFirstButtonReturn;
}

std::unique_ptr<UserInterface> makeMacUserInterface(std::shared_ptr<ModalWork> modalWork) {
    return std::make_unique<MacUserInterface>(std::move(modalWork));
}

} // namespace platform
