// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/Activation.h"

#include <QGuiApplication>
#include <QWidget>
#include <algorithm>
#include <array>
#include <optional>
#include <xcb/xcb.h>

namespace platform {

namespace {

constexpr const char* tokenVariable = "XDG_ACTIVATION_TOKEN";

/// Null where the display is not of X11.
xcb_connection_t* x11Connection() {
    const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 == nullptr ? nullptr : x11->connection();
}

xcb_window_t rootOf(xcb_connection_t* connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

xcb_atom_t atom(xcb_connection_t* connection, std::string_view name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr);
    const xcb_atom_t found = reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
    std::free(reply);
    return found;
}

void send(
    xcb_connection_t* connection, std::uint32_t mask, const xcb_client_message_event_t& event) {
    xcb_send_event(connection, 0, rootOf(connection), mask, reinterpret_cast<const char*>(&event));
}

/// Asks the window manager for something (Extended Window Manager Hints), as what the user wants.
void askWindowManager(xcb_connection_t* connection, xcb_window_t window, std::string_view what,
    std::array<std::uint32_t, 2> values) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(connection, what);
    std::copy(values.begin(), values.end(), event.data.data32);
    send(connection, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        event);
    xcb_flush(connection);
}

constexpr std::uint32_t byTheUser = 2;

std::optional<std::uint32_t> cardinal(
    xcb_connection_t* connection, xcb_window_t window, std::string_view property) {
    xcb_get_property_reply_t* reply = xcb_get_property_reply(connection,
        xcb_get_property(
            connection, 0, window, atom(connection, property), XCB_ATOM_CARDINAL, 0, 1),
        nullptr);
    std::optional<std::uint32_t> value;
    if (reply != nullptr && reply->format == 32 && reply->value_len == 1) {
        value = *static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
    }
    std::free(reply);
    return value;
}

/// Some window managers do not activate a window of another workspace, so it comes to its user's.
void bringToWorkspaceOfUser(xcb_connection_t* connection, xcb_window_t window) {
    constexpr std::uint32_t all = 0xFFFFFFFF;
    const auto its = cardinal(connection, window, "_NET_WM_DESKTOP");
    const auto users = cardinal(connection, rootOf(connection), "_NET_CURRENT_DESKTOP");
    if (its && users && *its != all && *its != *users) {
        askWindowManager(connection, window, "_NET_WM_DESKTOP", {*users, byTheUser});
    }
}

/// The Startup Notification protocol's message that ends a sequence; it goes in pieces.
void sendStartupEnd(xcb_connection_t* connection, QByteArray id) {
    id.replace('\\', "\\\\").replace('"', "\\\"");
    const QByteArray text = "remove: ID=\"" + id + "\"";
    const xcb_window_t sender = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, sender, rootOf(connection), -1, -1, 1, 1, 0,
        XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = sender;
    event.type = atom(connection, "_NET_STARTUP_INFO_BEGIN");
    constexpr qsizetype piece = sizeof(event.data.data8);
    for (qsizetype at = 0; at <= text.size(); at += piece) { // its end, a NUL, goes too
        std::fill_n(event.data.data8, piece, std::uint8_t{0});
        std::copy_n(text.constData() + at, std::min(piece, text.size() - at), event.data.data8);
        send(connection, XCB_EVENT_MASK_PROPERTY_CHANGE, event);
        event.type = atom(connection, "_NET_STARTUP_INFO");
    }
    xcb_destroy_window(connection, sender);
    xcb_flush(connection);
}

} // namespace

Activation Activation::ofThisStart() {
    Activation activation{qgetenv(tokenVariable), qgetenv("DESKTOP_STARTUP_ID")};
    if (activation.token.isEmpty()) {
        activation.token = activation.startupId; // older launchers have one place for both
    }
    return activation;
}

Activation Activation::fromPlatformData(const QVariantMap& data) {
    return {data[QStringLiteral("activation-token")].toByteArray(),
        data[QStringLiteral("desktop-startup-id")].toByteArray()};
}

QVariantMap Activation::platformData() const {
    QVariantMap data;
    if (!token.isEmpty()) {
        data[QStringLiteral("activation-token")] = QString::fromUtf8(token);
    }
    if (!startupId.isEmpty()) {
        data[QStringLiteral("desktop-startup-id")] = QString::fromUtf8(startupId);
    }
    return data;
}

void Activation::use() const {
    if (const QByteArray& mark = token.isEmpty() ? startupId : token; !mark.isEmpty()) {
        qputenv(tokenVariable, mark);
    }
}

void bringToFrontForUser(QWidget& window) {
    xcb_connection_t* connection = x11Connection();
    const auto id = static_cast<xcb_window_t>(window.winId());
    if (connection != nullptr) {
        bringToWorkspaceOfUser(connection, id);
    }
    window.raise();
    window.activateWindow();
    if (connection != nullptr) {
        askWindowManager(connection, id, "_NET_ACTIVE_WINDOW", {byTheUser, XCB_CURRENT_TIME});
    }
}

void tellStarted(const Activation& activation) {
    xcb_connection_t* connection = x11Connection();
    if (connection != nullptr && !activation.startupId.isEmpty()) {
        sendStartupEnd(connection, activation.startupId);
    }
}

} // namespace platform
