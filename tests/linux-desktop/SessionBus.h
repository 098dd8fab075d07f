// SPDX-License-Identifier: MIT
#pragma once

#include "tests/linux-desktop/Daemon.h"

#include <filesystem>

/// A session bus of the test alone. It starts what the user of `home` has registered, in
/// `environment`, and nothing that happens to be installed on this machine.
class SessionBus {
public:
    /// `folder` is for the bus's own files.
    SessionBus(const std::filesystem::path& folder, const std::filesystem::path& home,
        const std::map<std::string, std::string>& environment);

    /// The value of DBUS_SESSION_BUS_ADDRESS.
    const std::string& address() const { return m_daemon.line(); }

private:
    Daemon m_daemon;
};
