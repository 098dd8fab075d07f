// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/AlertPlace.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

namespace platform {

AlertPlace::AlertPlace(const QString& identifier) {
    constexpr int most = 8; // more lie on the last
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    while (m_name.isEmpty() && m_number < most) {
        const QString name = identifier + QStringLiteral(".Alert%1").arg(m_number);
        const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply
            = bus.interface()->registerService(name);
        if (!reply.isValid()) {
            return;
        }
        if (reply.value() == QDBusConnectionInterface::ServiceRegistered) {
            m_name = name;
        } else {
            ++m_number;
        }
    }
}

AlertPlace::~AlertPlace() {
    if (!m_name.isEmpty()) {
        QDBusConnection::sessionBus().unregisterService(m_name);
    }
}

} // namespace platform
