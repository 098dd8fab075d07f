// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/DisplayPlugin.h"

#include <QDir>
#include <QLibraryInfo>
#include <QPluginLoader>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace platform {

namespace {

bool loads(const QString& file, std::string& problem) {
    QPluginLoader plugin(QDir(QLibraryInfo::path(QLibraryInfo::PluginsPath))
                             .filePath(QLatin1String("platforms/") + file));
    if (!plugin.load()) {
        problem = plugin.errorString().toStdString();
        return false;
    }
    return true;
}

bool x11Answers() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

/// The socket's place is told by the Wayland protocol's client library: the variable's value,
/// relative to XDG_RUNTIME_DIR.
bool waylandAnswers() {
    const std::string path = QDir(qEnvironmentVariable("XDG_RUNTIME_DIR"))
                                 .filePath(qEnvironmentVariable("WAYLAND_DISPLAY"))
                                 .toStdString();
    sockaddr_un address{};
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool answers
        = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(descriptor);
    return answers;
}

} // namespace

std::string usableDisplayPlugin(std::string& problem) {
    if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        if (!x11Answers()) {
            problem = "the display " + qEnvironmentVariable("DISPLAY").toStdString()
                + " does not answer";
        } else if (loads(QStringLiteral("libqxcb.so"), problem)) {
            return "xcb";
        }
    }
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        if (!waylandAnswers()) {
            problem = "the display " + qEnvironmentVariable("WAYLAND_DISPLAY").toStdString()
                + " does not answer";
        } else if (loads(QStringLiteral("libqwayland-generic.so"), problem)) {
            return "wayland";
        }
    }
    return {};
}

} // namespace platform
