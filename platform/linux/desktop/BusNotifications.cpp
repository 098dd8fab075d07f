// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/BusNotifications.h"

#include "platform/linux/desktop/TextBlock.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace platform {

namespace {

QDBusMessage call(const char* method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QLatin1String(method));
}

void notify(const QString& title, const QString& body, const QString& iconName) {
    constexpr uint replacesNone = 0;
    constexpr int usualTime = -1;
    QDBusMessage message = call("Notify");
    message << QCoreApplication::applicationName() << replacesNone << iconName << title << body
            << QStringList() << QVariantMap{{QStringLiteral("desktop-entry"), iconName}}
            << usualTime;
    QDBusConnection::sessionBus().send(message);
}

} // namespace

void showOnDesktop(const NSUserNotification& notification, const QString& iconName) {
    const QString title = TextBlock::fromUtf8(notification.title.value_or(""));
    const QString body = TextBlock::fromUtf8(notification.informativeText.value_or(""));
    // A title is never markup; whether a body is, the service says. Replies come in order, so
    // notifications do too.
    auto* watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(call("GetCapabilities")), qApp);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, title, body, iconName] {
            const QDBusPendingReply<QStringList> capabilities = *watcher;
            watcher->deleteLater();
            if (capabilities.isError()) {
                return; // there is no service
            }
            const bool readsMarkup = capabilities.value().contains(QStringLiteral("body-markup"));
            notify(title, readsMarkup ? body.toHtmlEscaped() : body, iconName);
        });
}

} // namespace platform
