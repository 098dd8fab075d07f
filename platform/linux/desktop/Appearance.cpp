// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/Appearance.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFile>
#include <QPalette>
#include <QSettings>
#include <QStandardPaths>
#include <QStyleFactory>
#include <QXmlStreamReader>

namespace platform {

namespace {

constexpr uint noPreference = 0;
constexpr uint prefersDark = 1; // "color-scheme": 0 no preference, 1 dark, 2 light

QPalette darkPalette() {
    const QColor window(0x2b, 0x2d, 0x30), base(0x1e, 0x1f, 0x22), text(0xe6, 0xe6, 0xe6);
    const QColor faint(0x8c, 0x8f, 0x94), accent(0x3d, 0x8a, 0xb0);
    QPalette palette(text, window, window.lighter(150), window.darker(150), window.lighter(120),
        text, Qt::white, base, window);
    palette.setColor(QPalette::Button, window.lighter(125));
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, faint);
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, faint);
    }
    return palette;
}

/// Dark themes have no other mark than their names, "Adwaita-dark" and "Adwaita:dark".
bool isDarkTheme(const QString& name) {
    return name.endsWith(QLatin1String("-dark"), Qt::CaseInsensitive)
        || name.endsWith(QLatin1String(":dark"), Qt::CaseInsensitive);
}

/// Xfce's theme for GTK programs, as its settings daemon keeps it.
bool isXfceDark(const QString& folder) {
    QFile file(folder + QLatin1String("/xfce4/xfconf/xfce-perchannel-xml/xsettings.xml"));
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement
            && xml.attributes().value(QLatin1String("name")) == QLatin1String("ThemeName")) {
            return isDarkTheme(xml.attributes().value(QLatin1String("value")).toString());
        }
    }
    return false;
}

bool isGtkDark(const QString& file) {
    const QSettings settings(file, QSettings::IniFormat);
    const auto value = [&](const char* key) {
        return settings.value(QLatin1String("Settings/") + QLatin1String(key)).toString();
    };
    const QString preference = value("gtk-application-prefer-dark-theme");
    return preference == QLatin1String("1") || preference == QLatin1String("true")
        || isDarkTheme(value("gtk-theme-name"));
}

} // namespace

Appearance::Appearance() {
    QDBusMessage read
        = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    read << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    auto* watcher
        = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(read), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher] {
        const QDBusPendingReply<QVariant> reply = *watcher;
        watcher->deleteLater();
        apply(reply.isValid() ? reply.value() : QVariant());
    });
}

bool Appearance::isDarkChosenIn(const QString& folder) {
    return isXfceDark(folder) || isGtkDark(folder + QLatin1String("/gtk-4.0/settings.ini"))
        || isGtkDark(folder + QLatin1String("/gtk-3.0/settings.ini"));
}

void Appearance::apply(const QVariant& colorScheme) {
    QVariant value = colorScheme; // a variant in a variant
    while (value.canConvert<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    const bool isDark = value.toUInt() == prefersDark
        || (value.toUInt() == noPreference
            && (isDarkTheme(qEnvironmentVariable("GTK_THEME"))
                || isDarkChosenIn(
                    QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))));
    if (isDark && QApplication::palette().color(QPalette::Window).lightness() > 127) {
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        QApplication::setPalette(darkPalette());
    }
}

} // namespace platform
