// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <string>

/// Tells the user that something has started: a status line and a user notification.
class ZqNotification {
public:
    ZqNotification(std::string message, std::string details);

    /// The title goes to the status view, when there is one; the details only to the notification.
    void show() const;

    const platform::NSUserNotification& notification() const { return m_notification; }

private:
    platform::NSUserNotification m_notification;
};
