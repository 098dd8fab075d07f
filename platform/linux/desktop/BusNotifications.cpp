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

constexpr int answerLimit = 1000; // milliseconds of the service for one call

QDBusMessage methodCall(const char* method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QLatin1String(method));
}

} // namespace

BusNotifications::BusNotifications(QString iconName)
    : m_iconName(std::move(iconName)) {
    call(methodCall("GetCapabilities"));
}

BusNotifications::~BusNotifications() {
    while (m_hasShown && m_call) {
        m_call->disconnect(); // what waits may tell of the end itself
        m_call->waitForFinished();
        answered();
    }
}

void BusNotifications::show(const NSUserNotification& notification) {
    m_hasShown = true;
    m_next = Text{TextBlock::fromUtf8(notification.title.value_or("")),
        TextBlock::fromUtf8(notification.informativeText.value_or(""))};
    if (!m_call) {
        proceed();
    }
}

/// Asks what the service can do, unless that is known, or shows what is to be shown.
void BusNotifications::proceed() {
    if (!m_next) {
        return;
    }
    if (!m_readsMarkup) {
        call(methodCall("GetCapabilities"));
        return;
    }
    constexpr int usualTime = -1;
    // A title is never markup; whether a body is, the service says.
    QDBusMessage message = methodCall("Notify");
    message << QCoreApplication::applicationName() << m_shownId << m_iconName << m_next->title
            << (*m_readsMarkup ? m_next->body.toHtmlEscaped() : m_next->body) << QStringList()
            << QVariantMap{{QStringLiteral("desktop-entry"), m_iconName}} << usualTime;
    m_next.reset();
    call(message);
}

void BusNotifications::call(const QDBusMessage& message) {
    m_call = std::make_unique<QDBusPendingCallWatcher>(
        QDBusConnection::sessionBus().asyncCall(message, answerLimit));
    QObject::connect(
        m_call.get(), &QDBusPendingCallWatcher::finished, m_call.get(), [this] { answered(); });
}

void BusNotifications::answered() {
    const QDBusMessage reply = m_call->reply();
    m_call->disconnect();
    m_call.release()->deleteLater(); // it may be what calls this
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        m_readsMarkup.reset(); // there is no service (any more)
        m_shownId = 0;
        m_next.reset();
        return;
    }
    const QVariant answer = reply.arguments().constFirst();
    if (m_readsMarkup) {
        m_shownId = answer.toUInt();
    } else {
        m_readsMarkup = answer.toStringList().contains(QStringLiteral("body-markup"));
    }
    proceed();
}

} // namespace platform
