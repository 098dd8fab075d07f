// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/LinkService.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <limits>

namespace platform {

namespace {

constexpr const char* interfaceName = "org.freedesktop.Application";

} // namespace

/// Somebody waits for its answer.
struct LinkService::Call {
    QDBusMessage message;
    qsizetype linksLeft;
    bool isOver = false;

    void finish(const QDBusMessage& answer) {
        isOver = true;
        QDBusConnection::sessionBus().send(answer);
    }
};

LinkService::LinkService(const std::string& identifier, Events events)
    : m_name(QString::fromStdString(identifier))
    , m_path(QLatin1Char('/') + QString(m_name).replace(QLatin1Char('.'), QLatin1Char('/')))
    , m_events(std::move(events)) {
}

LinkService::~LinkService() {
    stop();
}

bool LinkService::start(std::string& problem) {
    if (m_hasName) {
        return true;
    }
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
    m_hasName = reply.value() == QDBusConnectionInterface::ServiceRegistered;
    if (!m_hasName) {
        problem = "another agent takes them already";
    }
    return m_hasName;
}

void LinkService::stop() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(m_name); // first, so that whoever is refused can take it
    bus.unregisterObject(m_path);
    m_hasName = false;
    for (const std::shared_ptr<Call>& call : m_calls) {
        call->finish(call->message.createErrorReply(
            QDBusError::NoReply, QStringLiteral("The agent ends before it takes the link.")));
    }
    m_calls.clear();
}

bool LinkService::handOver(const std::string& url, const Activation& activation) {
    constexpr int mostAttempts = 5; // each time the agent ended that had the name
    std::string problem;
    for (int attempt = 0; attempt < mostAttempts && !start(problem); ++attempt) {
        if (!QDBusConnection::sessionBus().isConnected()) {
            return false;
        }
        if (isTakenBy(url, activation)) {
            return true;
        }
    }
    return false;
}

/// Whether the agent that has the name takes the link. That may be long in coming: it may be busy
/// with a question to its user, before whom its window is now.
bool LinkService::isTakenBy(const std::string& url, const Activation& activation) const {
    constexpr int noLimit = std::numeric_limits<int>::max();
    QDBusMessage call = QDBusMessage::createMethodCall(
        m_name, m_path, QLatin1String(interfaceName), QStringLiteral("Open"));
    call << QStringList(QString::fromStdString(url)) << activation.platformData();
    call.setAutoStartService(false);
    const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, noLimit);
    return answer.type() == QDBusMessage::ReplyMessage;
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
    if (message.interface() != QLatin1String(interfaceName)) {
        return false;
    }
    const QString call = message.member() + QLatin1Char(' ') + message.signature();
    const QVariantList arguments = message.arguments();
    const auto activationIn = [&](qsizetype argument) {
        return Activation::fromPlatformData(qdbus_cast<QVariantMap>(arguments[argument]));
    };
    if (call == QLatin1String("Open asa{sv}")) {
        m_events.activated(activationIn(1));
        open(message, arguments[0].toStringList());
        return true;
    }
    if (call == QLatin1String("Activate a{sv}")) {
        m_events.activated(activationIn(0));
    } else if (call != QLatin1String("ActivateAction sava{sv}")) { // there are no actions
        return false;
    }
    connection.send(message.createReply());
    return true;
}

void LinkService::open(const QDBusMessage& message, const QStringList& urls) {
    message.setDelayedReply(true);
    const auto call = std::make_shared<Call>(Call{message, urls.size()});
    if (urls.isEmpty()) {
        call->finish(message.createReply());
        return;
    }
    m_calls.push_back(call);
    for (const QString& url : urls) {
        m_events.opened([this, call, text = url.toStdString()]() -> std::optional<std::string> {
            if (call->isOver) {
                return std::nullopt; // this object may be gone
            }
            if (--call->linksLeft == 0) {
                call->finish(call->message.createReply());
                m_calls.remove(call);
            }
            return text;
        });
    }
}

} // namespace platform
