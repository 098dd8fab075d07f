// SPDX-License-Identifier: MIT
// notification_service [CAPABILITY]...: a desktop's notification service for tests. Tells "ready",
// then what it is asked to show, as one JSON object a line.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace {

class Notifications : public QDBusVirtualObject {
public:
    explicit Notifications(QStringList capabilities)
        : m_capabilities(std::move(capabilities)) { }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const QVariantList arguments = message.arguments();
        if (message.member() == QLatin1String("GetCapabilities")) {
            connection.send(message.createReply(QVariant(m_capabilities)));
            return true;
        }
        if (message.member() != QLatin1String("Notify")
            || message.signature() != QLatin1String("susssasa{sv}i")) {
            return false;
        }
        const QJsonObject shown{{QStringLiteral("application"), arguments[0].toString()},
            {QStringLiteral("replaces"), static_cast<int>(arguments[1].toUInt())},
            {QStringLiteral("icon"), arguments[2].toString()},
            {QStringLiteral("title"), arguments[3].toString()},
            {QStringLiteral("body"), arguments[4].toString()}};
        std::puts(QJsonDocument(shown).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
        connection.send(message.createReply(QVariant(7U)));
        return true;
    }

private:
    QStringList m_capabilities;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    Notifications notifications(QCoreApplication::arguments().mid(1));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), &notifications)
        || !bus.registerService(QStringLiteral("org.freedesktop.Notifications"))) {
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
