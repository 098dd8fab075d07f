// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QVariant>

namespace platform {

/// Takes over the user's choice of a dark appearance, which the desktop tells on the session bus
/// (org.freedesktop.portal.Settings, "color-scheme"); where it tells nothing, that of the settings
/// of Xfce and GTK. Does nothing where the desktop's own theme colours Qt's windows already.
class Appearance final : public QObject {
public:
    Appearance();

    /// Whether files of a configuration folder choose a dark theme for Xfce or GTK programs.
    static bool isDarkChosenIn(const QString& folder);

private:
    static void apply(const QVariant& colorScheme);
};

} // namespace platform
