// SPDX-License-Identifier: MIT
#include "platform/Trust.h"
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"

#import <AppKit/AppKit.h>
#import <UserNotifications/UserNotifications.h>
#include <chrono>

namespace platform {

namespace {

/// A menu of the main menu.
NSMenu* addMenu(NSString* title) {
    NSMenu* const mainMenu = [NSApplication sharedApplication].mainMenu;
    NSMenu* const menu = [[NSMenu alloc] initWithTitle:title];
    [mainMenu addItemWithTitle:title action:nil keyEquivalent:@""].submenu = menu;
    return menu;
}

void makeMenus() {
    NSApplication* const application = [NSApplication sharedApplication];
    application.mainMenu = [[NSMenu alloc] initWithTitle:@""];
    NSMenu* const own = addMenu(@"Quillet");
    [own addItemWithTitle:@"Hide Quillet" action:@selector(hide:) keyEquivalent:@"h"];
    [own addItemWithTitle:@"Quit Quillet" action:@selector(terminate:) keyEquivalent:@"q"];
    NSMenu* const edit = addMenu(@"Edit");
    [edit addItemWithTitle:@"Copy" action:@selector(copy:) keyEquivalent:@"c"];
    [edit addItemWithTitle:@"Select All" action:@selector(selectAll:) keyEquivalent:@"a"];
    NSMenu* const window = addMenu(@"Window");
    [window addItemWithTitle:@"Minimize" action:@selector(performMiniaturize:) keyEquivalent:@"m"];
    [window addItemWithTitle:@"Close" action:@selector(performClose:) keyEquivalent:@"w"];
    application.windowsMenu = window;
}

/// Opens the window, which is one scrollable text view.
::NSTextView* windowsTextView() {
    NSScrollView* const scrollView = [::NSTextView scrollableTextView];
    ::NSTextView* const textView = scrollView.documentView;
    textView.editable = NO;
    // Text without a colour is black, in a dark window light.
    textView.usesAdaptiveColorMappingForDarkAppearance = YES;
    const auto window =
        [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 560, 320)
                                    styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                    | NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable
                                      backing:NSBackingStoreBuffered
                                        defer:NO];
    window.releasedWhenClosed = NO; // it is owned as any other object
    window.restorable = NO; // else the platform asks after an abort whether to reopen it
    window.title = @"Quillet";
    window.contentView = scrollView;
    [window center];
    [window makeKeyAndOrderFront:nil];
    return textView;
}

::NSAlert* platformAlertOf(const NSAlert& alert) {
    ::NSAlert* const platformAlert = [[::NSAlert alloc] init];
    platformAlert.messageText = stringOfText(alert.messageText);
    platformAlert.informativeText = stringOfText(alert.informativeText);
    platformAlert.alertStyle = static_cast<::NSAlertStyle>(alert.alertStyle);
    for (const std::string& button : alert.buttons) {
        [platformAlert addButtonWithTitle:stringOfText(button)];
    }
    [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
    // Where the system does not let it come forward, its icon asks for attention.
    [[NSApplication sharedApplication] requestUserAttention:NSCriticalRequest];
    return platformAlert;
}

/// Runs an alert whose last button is the answer to Return and Escape, and whose others can be
/// pressed only after a while.
NSModalResponse runGuarded(::NSAlert* alert) {
    NSArray<NSButton*>* const buttons = alert.buttons;
    NSButton* const last = buttons.lastObject;
    for (NSButton* button in buttons) {
        button.keyEquivalent = button == last ? @"\r" : @"";
        button.enabled = button == last;
    }
    const auto enable = ^(NSTimer*) {
        for (NSButton* button in buttons) {
            button.enabled = YES;
        }
    };
    const auto pressLast = ^NSEvent*(NSEvent* event) {
        constexpr unsigned short escapeKey = 53;
        if (event.keyCode != escapeKey) {
            return event;
        }
        [last performClick:nil];
        return nil;
    };
    const std::chrono::duration<NSTimeInterval> guarded = guardedFor;
    NSTimer* const timer = [NSTimer timerWithTimeInterval:guarded.count() repeats:NO block:enable];
    [[NSRunLoop currentRunLoop] addTimer:timer forMode:NSModalPanelRunLoopMode];
    const id monitor = [NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                             handler:pressLast];
    const NSModalResponse response = [alert runModal];
    [NSEvent removeMonitor:monitor];
    [timer invalidate];
    return response;
}

/// In a fixed-width font; the view follows its last line as long as that is in sight.
void appendText(::NSTextView* view, std::string_view text) {
    const BOOL isEndInSight = NSMaxY(view.visibleRect) >= NSMaxY(view.bounds) - 1;
    NSFont* const font = [NSFont monospacedSystemFontOfSize:NSFont.systemFontSize
                                                     weight:NSFontWeightRegular];
    [view.textStorage appendAttributedString:[[NSAttributedString alloc]
                                                 initWithString:stringOfText(text)
                                                     attributes:@{NSFontAttributeName : font}]];
    if (isEndInSight) {
        [view scrollRangeToVisible:NSMakeRange(view.textStorage.length, 0)];
    }
}

class MacUserInterface final : public ModalUserInterface {
public:
    using ModalUserInterface::ModalUserInterface;

    /// Shown when the user has allowed it, for which the system asks once. Outside its bundle the
    /// agent has no notifications.
    void deliverNotification(const NSUserNotification& notification) override {
        if ([NSBundle mainBundle].bundleIdentifier == nil) {
            return;
        }
        const auto content = [[UNMutableNotificationContent alloc] init];
        content.title = stringOfText(notification.title.value_or(""));
        content.body = stringOfText(notification.informativeText.value_or(""));
        const auto request = [UNNotificationRequest requestWithIdentifier:[NSUUID UUID].UUIDString
                                                                  content:content
                                                                  trigger:nil];
        const auto center = [UNUserNotificationCenter currentNotificationCenter];
        const auto deliver = ^(BOOL isGranted, NSError*) {
            if (isGranted) {
                [center addNotificationRequest:request withCompletionHandler:nil];
            }
        };
        [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                              completionHandler:deliver];
    }

private:
    StatusView::Append openMainWindow() override {
        ::NSTextView* const view = windowsTextView();
        m_window = view.window;
        makeMenus();
        return [view](std::string_view text) { appendText(view, text); };
    }

    void setTitle(const std::string& title) override { m_window.title = stringOfText(title); }

    long show(const NSAlert& alert, bool isGuarded) override {
        ::NSAlert* const shown = platformAlertOf(alert);
        return isGuarded ? runGuarded(shown) : [shown runModal];
    }

    bool openPage(const std::string& url) override {
        NSURL* const address = [NSURL URLWithString:stringOfText(url)];
        return address != nil && [[NSWorkspace sharedWorkspace] openURL:address];
    }

    NSWindow* m_window = nil;
};

} // namespace

std::unique_ptr<ModalUserInterface> makeMacUserInterface(std::shared_ptr<ModalWork> modalWork) {
    return std::make_unique<MacUserInterface>(std::move(modalWork));
}

} // namespace platform
