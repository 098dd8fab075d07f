// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/LinkService.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>

namespace platform {

LinkService::LinkService(const std::string& identifier, Events events)
    : m_name(QString::fromStdString(identifier))
    , m_path(QLatin1Char('/') + QString(m_name).replace(QLatin1Char('.'), QLatin1Char('/')))
    , m_events(std::move(events)) {
}

LinkService::~LinkService() {
    stop();
}

bool LinkService::start(std::string& problem) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        problem = "there is no session bus";
        return false;
    }
    bus.registerVirtualObject(m_path, this); // before the name, so that no call finds nothing
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply
        = bus.interface()->registerService(m_name, QDBusConnectionInterface::DontQueueService,
            QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        problem = "the session bus refuses the name: " + reply.error().message().toStdString();
        return false;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        problem = "another agent takes them already";
        return false;
    }
    return true;
}

void LinkService::stop() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(m_name);
    bus.unregisterObject(m_path);
}

QString LinkService::introspect(const QString&) const {
    return QStringLiteral(R"(<interface name="org.freedesktop.Application">
  <method name="Activate"><arg type="a{sv}" name="platform_data" direction="in"/></method>
  <method name="Open">
    <arg type="as" name="uris" direction="in"/>
    <arg type="a{sv}" name="platform_data" direction="in"/>
  </method>
  <method name="ActivateAction">
    <arg type="s" name="action_name" direction="in"/>
    <arg type="av" name="parameter" direction="in"/>
    <arg type="a{sv}" name="platform_data" direction="in"/>
  </method>
</interface>
)");
}

bool LinkService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() != QLatin1String("org.freedesktop.Application")) {
        return false;
    }
    const QString call = message.member() + QLatin1Char(' ') + message.signature();
    const QVariantList arguments = message.arguments();
    if (call == QLatin1String("Activate a{sv}")) {
        cameFromDesktop(qdbus_cast<QVariantMap>(arguments[0]));
    } else if (call == QLatin1String("Open asa{sv}")) {
        cameFromDesktop(qdbus_cast<QVariantMap>(arguments[1]));
        for (const QString& url : arguments[0].toStringList()) {
            m_events.opened(url.toStdString());
        }
    } else if (call != QLatin1String("ActivateAction sava{sv}")) { // there are no actions
        return false;
    }
    connection.send(message.createReply());
    return true;
}

/// With the token that the desktop sends along, Wayland lets the window come to the front.
void LinkService::cameFromDesktop(const QVariantMap& platformData) {
    const QByteArray token = platformData[QStringLiteral("activation-token")].toByteArray();
    if (!token.isEmpty()) {
        qputenv("XDG_ACTIVATION_TOKEN", token);
    }
    m_events.activated();
}

} // namespace platform
