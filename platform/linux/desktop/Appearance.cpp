// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/Appearance.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPalette>
#include <QStyleFactory>

namespace platform {

namespace {

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
        if (reply.isValid()) {
            apply(reply.value());
        }
    });
}

void Appearance::apply(const QVariant& colorScheme) {
    QVariant value = colorScheme; // a variant in a variant
    while (value.canConvert<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    if (value.toUInt() == prefersDark
        && QApplication::palette().color(QPalette::Window).lightness() > 127) {
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        QApplication::setPalette(darkPalette());
    }
}

} // namespace platform
