// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QVariant>

namespace platform {

/// Takes over the user's choice of a dark appearance, which the desktop tells on the session bus
/// (org.freedesktop.portal.Settings, "color-scheme"). Does nothing where the desktop's own theme
/// colours Qt's windows already, or does not tell.
class Appearance final : public QObject {
public:
    Appearance();

private:
    static void apply(const QVariant& colorScheme);
};

} // namespace platform
