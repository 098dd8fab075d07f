// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/Activation.h"

#include <QDBusVirtualObject>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// The program as the session bus sees it: the interface org.freedesktop.Application (Desktop Entry
/// 1.5), by which links are handed over. A call is answered when its links are taken, and refused
/// if the program ends before; so whoever hands a link over knows that it arrived.
class LinkService final : public QDBusVirtualObject {
public:
    /// Takes the link when it is its turn; nothing when the call has been refused.
    using Take = std::function<std::optional<std::string>()>;
    struct Events {
        std::function<void(const Activation&)> activated; ///< somebody wants to see the window
        std::function<void(Take)> opened; ///< a link
    };

    /// `identifier` is the bus name, and with slashes for its dots the object's path.
    LinkService(const std::string& identifier, Events events);
    ~LinkService() override;

    /// Takes the name, unless it has it. False, with the cause in `problem`, when there is no bus
    /// or the name is somebody else's; it is not waited for.
    bool start(std::string& problem);
    /// Gives the name back, so that the next link starts an agent of its own, and refuses the calls
    /// that wait.
    void stop();

    /// Hands a link to the agent that has the name, and waits until that has taken it. When there
    /// is none, or it ends instead, takes the name. False when the link is this agent's affair.
    bool handOver(const std::string& url, const Activation& activation);

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    struct Call;

    void open(const QDBusMessage& message, const QStringList& urls);
    bool isTakenBy(const std::string& url, const Activation& activation) const;

    QString m_name;
    QString m_path;
    Events m_events;
    bool m_hasName = false;
    std::list<std::shared_ptr<Call>> m_calls; // not yet answered
};

} // namespace platform
