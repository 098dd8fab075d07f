// SPDX-License-Identifier: MIT
#include "platform/Trust.h"
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/StatusView.h"
#include "platform/shared/WebPage.h"

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

/// The main interface: a window that is one scrollable status view, and the menus.
::NSTextView* openMainWindow() {
    NSScrollView* const scrollView = [::NSTextView scrollableTextView];
    ::NSTextView* const textView = scrollView.documentView;
    textView.editable = NO;
    // Text without a colour is black, in a dark window light.
    textView.usesAdaptiveColorMappingForDarkAppearance = YES;
    NSWindow* const window =
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
    makeMenus();
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
    // Where the system does not let it come forward, its icon asks for attention.
    [[NSApplication sharedApplication] requestUserAttention:NSCriticalRequest];
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

/// In a fixed-width font; the view follows its last line as long as that is in sight.
void appendText(::NSTextView* view, std::string_view text) {
    const BOOL isEndInSight = NSMaxY(view.visibleRect) >= NSMaxY(view.bounds) - 1;
    ::NSTextStorage* const storage = view.textStorage;
    const NSUInteger before = storage.length;
    [storage appendAttributedString:[[NSAttributedString alloc] initWithString:stringOfText(text)]];
    NSFont* const font = [NSFont monospacedSystemFontOfSize:NSFont.systemFontSize
                                                     weight:NSFontWeightRegular];
    [storage addAttribute:NSFontAttributeName value:font
                    range:NSMakeRange(before, storage.length - before)];
    if (isEndInSight) {
        [view scrollRangeToVisible:NSMakeRange(storage.length, 0)];
    }
}

/// Shown when the user has allowed it, for which the system asks once.
void deliver(UNMutableNotificationContent* content) {
    UNUserNotificationCenter* const center = [UNUserNotificationCenter currentNotificationCenter];
    [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert completionHandler:^(
        BOOL isGranted, NSError*) {
        if (isGranted) {
            [center addNotificationRequest:[UNNotificationRequest
                                               requestWithIdentifier:[NSUUID UUID].UUIDString
                                                             content:content
                                                             trigger:nil]
                     withCompletionHandler:nil];
        }
    }];
}

class AppKitInterface final : public MacUserInterface {
public:
    explicit AppKitInterface(std::shared_ptr<ModalWork> modalWork)
        : m_modalWork(std::move(modalWork)) { }

    NSTextView* statusTextView() override {
        if (!m_statusView) {
            ::NSTextView* const view = openMainWindow();
            m_window = view.window;
            m_statusView = std::make_unique<StatusView>(
                [view](std::string_view text) { appendText(view, text); });
        }
        return m_statusView.get();
    }

    void showServer(const std::string& server) override {
        m_window.title = stringOfText(server.empty() ? "Quillet" : server + " - Quillet");
    }

    int runModal(const NSAlert& alert) override {
        NSModalResponse response = 0;
        m_modalWork->run([&] {
            ::NSAlert* const platformAlert = platformAlertOf(alert);
            response = [platformAlert runModal];
        });
        return static_cast<int>(response);
    }

    /// Outside its bundle the agent has no notifications.
    void deliverNotification(const NSUserNotification& notification) override {
        if ([NSBundle mainBundle].bundleIdentifier == nil) {
            return;
        }
        UNMutableNotificationContent* const content = [[UNMutableNotificationContent alloc] init];
        content.title = stringOfText(notification.title.value_or(""));
        content.body = stringOfText(notification.informativeText.value_or(""));
        deliver(content);
    }

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
    NSWindow* m_window = nil;
};

} // namespace

bool agreesInAlert(ModalWork& modalWork, const NSAlert& question) {
    NSModalResponse response = 0;
    modalWork.run([&] { response = runGuarded(platformAlertOf(question)); });
    return response == NSAlertFirstButtonReturn;
}

std::unique_ptr<MacUserInterface> makeMacUserInterface(std::shared_ptr<ModalWork> modalWork) {
    return std::make_unique<AppKitInterface>(std::move(modalWork));
}

} // namespace platform
