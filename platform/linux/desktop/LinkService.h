// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusVirtualObject>
#include <QVariantMap>
#include <functional>
#include <string>

namespace platform {

/// The program as the session bus sees it: the interface org.freedesktop.Application (Desktop Entry
/// 1.5, "D-Bus Activation"), by which the desktop starts it and hands links over.
class LinkService final : public QDBusVirtualObject {
public:
    struct Events {
        std::function<void()> activated; ///< somebody wants to see the window
        std::function<void(std::string url)> opened; ///< a link
    };

    /// `identifier` is the bus name, and with slashes for its dots the object's path.
    LinkService(const std::string& identifier, Events events);
    ~LinkService() override;

    /// Takes the name. False, with the cause in `problem`, when there is no bus or the name is
    /// somebody else's; it is not waited for.
    bool start(std::string& problem);
    /// Gives the name back, so that the next link starts an agent of its own.
    void stop();

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    void cameFromDesktop(const QVariantMap& platformData);

    QString m_name;
    QString m_path;
    Events m_events;
};

} // namespace platform
