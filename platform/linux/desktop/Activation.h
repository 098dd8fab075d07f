// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QVariantMap>

class QWidget;

namespace platform {

/// How a desktop vouches that the user has asked for this program, by which its window may come in
/// front of others.
struct Activation {
    QByteArray token; ///< for Wayland (xdg-activation)
    QByteArray startupId; ///< for X11 (Startup Notification)

    /// What came with the start of the process. Before Qt's application object is there, which
    /// takes it away.
    static Activation ofThisStart();

    /// As the "platform data" of org.freedesktop.Application.
    static Activation fromPlatformData(const QVariantMap& data);
    QVariantMap platformData() const;

    /// Leaves the token for the next window that asks Qt to come to the front.
    void use() const;
};

/// Brings a window to the front because the user has asked for it: out of the task bar, and on X11
/// from another workspace to the user's.
void bringToFrontForUser(QWidget& window);

/// Tells an X11 desktop that what it waits for with a busy pointer is there.
void tellStarted(const Activation& activation);

} // namespace platform
