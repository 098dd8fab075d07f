// SPDX-License-Identifier: MIT
// What the user sees: the status view, modal alerts, notifications, pages, password prompts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

enum class NSAlertStyle { warning = 0, informational = 1, critical = 2 };

/// The response of an alert's first button; every further button answers one more.
inline constexpr int NSAlertFirstButtonReturn = 1000;

/// A modal alert. Without buttons the platform shows its single default button.
struct NSAlert {
    std::string messageText;
    std::string informativeText;
    NSAlertStyle alertStyle = NSAlertStyle::warning;
    std::vector<std::string> buttons;
    /// The program ends when the alert is dismissed: a link that comes meanwhile is for another.
    bool endsProgram = false;
};

struct NSUserNotification {
    std::optional<std::string> title;
    std::optional<std::string> informativeText;
};

/// The growing text behind a text view.
class NSTextStorage {
public:
    virtual ~NSTextStorage() = default;
    /// Appends plain text as it stands. UTF-8.
    virtual void append(std::string_view text) = 0;
};

class NSTextView {
public:
    virtual ~NSTextView() = default;
    /// Null when the view has no text storage.
    virtual NSTextStorage* textStorage() = 0;
};

class UserInterface {
public:
    virtual ~UserInterface() = default;

    /// The status view of the main window; null when there is none.
    virtual NSTextView* statusTextView() = 0;

    /// Shows the alert and blocks until the user answers; returns the response. From any thread.
    /// Nothing of a session is delivered meanwhile.
    virtual int runModal(const NSAlert& alert) = 0;

    virtual void deliverNotification(const NSUserNotification& notification) = 0;

    /// Asks the desktop to open `url` in the user's browser; false when it could not be asked.
    virtual bool openURL(const std::string& url) = 0;

    /// Asks for the password of the token named `tokenName`. `again` says that the last one was
    /// wrong. Nothing when the user cancels. The caller wipes the text. From any thread.
    virtual std::optional<std::string> askForPassword(const std::string& tokenName, bool again) = 0;
};

} // namespace platform
