// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <QString>
#include <memory>
#include <optional>

class QDBusMessage;
class QDBusPendingCallWatcher;

namespace platform {

/// One notification of the desktop's service (Desktop Notifications 1.2), which each further one
/// replaces: however many there are, they neither pile up nor wait for each other. Texts are shown
/// as they stand: where the service reads markup, theirs is escaped. Without a service nothing
/// happens. What was to be shown last is on its way when this object goes.
class BusNotifications final {
public:
    /// Asks the service at once what it can do.
    explicit BusNotifications(QString iconName);
    BusNotifications(const BusNotifications&) = delete;
    BusNotifications& operator=(const BusNotifications&) = delete;
    ~BusNotifications();

    /// Does not wait for the service.
    void show(const NSUserNotification& notification);
    /// Whether there was anything to show so far.
    bool hasShown() const { return m_hasShown; }

private:
    struct Text {
        QString title;
        QString body;
    };

    void proceed();
    void call(const QDBusMessage& message);
    void answered();

    const QString m_iconName;
    std::optional<bool> m_readsMarkup; // once the service has told
    std::optional<Text> m_next;
    bool m_hasShown = false;
    unsigned int m_shownId = 0; // that the service gave
    std::unique_ptr<QDBusPendingCallWatcher> m_call; // the one under way
};

} // namespace platform
