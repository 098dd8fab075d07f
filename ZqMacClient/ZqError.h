// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <string>

/// A failure shown to the user as a modal alert. Used on the main thread, or by a REST completion
/// handler.
class ZqError {
public:
    ZqError(std::string message, std::string details,
        platform::NSAlertStyle style = platform::NSAlertStyle::critical);

    /// The words of the log, where they are others than those of the alert.
    ZqError& logAs(std::string message, std::string details);

    /// Logs, shows the alert and returns when it is dismissed.
    void show() const;
    /// Logs, shows the alert and ends the process with status 1, whatever the style.
    [[noreturn]] void showAndExit() const;

    const platform::NSAlert& alert() const { return m_alert; }
    const std::string& loggedMessage() const { return m_loggedMessage; }
    const std::string& loggedDetails() const { return m_loggedDetails; }

private:
    platform::NSAlert m_alert;
    std::string m_loggedMessage;
    std::string m_loggedDetails;
};
