// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"

#import <AppKit/AppKit.h>

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

class StatusView final : public NSTextView, public NSTextStorage {
public:
    explicit StatusView(::NSTextView* view)
        : m_view(view) { }
    NSTextStorage* textStorage() override { return m_view.textStorage == nil ? nullptr : this; }
    void append(std::string_view text) override {
        [m_view.textStorage
            appendAttributedString:[[NSAttributedString alloc] initWithString:stringOfText(text)]];
    }

private:
    ::NSTextView* const m_view;
};

// Deprecated, but shown without asking the user for leave first. Looked up by name, so that a
// system that has it no more starts the agent all the same, without notifications.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
void deliver(NSString* title, NSString* informativeText) {
    ::NSUserNotification* const notification =
        [[NSClassFromString(@"NSUserNotification") alloc] init];
    notification.title = title;
    notification.informativeText = informativeText;
    NSUserNotificationCenter* const center =
        [NSClassFromString(@"NSUserNotificationCenter") defaultUserNotificationCenter];
    [center deliverNotification:notification];
}
#pragma clang diagnostic pop

class MacUserInterface final : public UserInterface {
public:
    explicit MacUserInterface(ModalWork& modalWork)
        : m_modalWork(modalWork) { }

    NSTextView* statusTextView() override {
        if (!m_statusView) {
            m_statusView = std::make_unique<StatusView>(openMainWindow());
        }
        return m_statusView.get();
    }

    int runModal(const NSAlert& alert) override {
        NSModalResponse response = 0;
        m_modalWork.run([&] {
            ::NSAlert* const platformAlert = [[::NSAlert alloc] init];
            [platformAlert setMessageText:stringOfText(alert.messageText)];
            [platformAlert setInformativeText:stringOfText(alert.informativeText)];
            [platformAlert setAlertStyle:static_cast<::NSAlertStyle>(alert.alertStyle)];
            for (const std::string& button : alert.buttons) {
                [platformAlert addButtonWithTitle:stringOfText(button)];
            }
            [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
            response = [platformAlert runModal];
        });
        return static_cast<int>(response);
    }

    void deliverNotification(const NSUserNotification& notification) override {
        deliver(stringOfText(notification.title.value_or("")),
            stringOfText(notification.informativeText.value_or("")));
    }

    /// Only pages of the web: the address comes from a server, and others start programs.
    bool openURL(const std::string& url) override {
        NSURL* const address = [NSURL URLWithString:stringOfText(url)];
        NSString* const scheme = address.scheme.lowercaseString;
        return ([scheme isEqualToString:@"https"] || [scheme isEqualToString:@"http"]) &&
            [[NSWorkspace sharedWorkspace] openURL:address];
    }

    /// The keychain asks for its passwords itself; there is no other token.
    std::optional<std::string> askForPassword(const std::string&, bool) override {
        return std::nullopt;
    }

private:
    ModalWork& m_modalWork;
    std::unique_ptr<StatusView> m_statusView;
};

} // namespace

std::unique_ptr<UserInterface> makeMacUserInterface(ModalWork& modalWork) {
    return std::make_unique<MacUserInterface>(modalWork);
}

} // namespace platform
