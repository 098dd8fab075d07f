// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/DesktopRegistration.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <gmock/gmock.h>

/// A home of its own, with an `xdg-mime` that notes how often it ran.
class RegistrationTest : public testing::Test {
protected:
    RegistrationTest() {
        setenv("HOME", (m_folder / "home").c_str(), 1);
        setenv("PATH", ((m_folder / "bin").string() + ":/usr/bin:/bin").c_str(), 1);
        unsetenv("XDG_DATA_HOME");
        unsetenv("XDG_CONFIG_HOME");
        setenv("XDG_DATA_DIRS", (m_folder / "system").c_str(), 1);
        makeTool("printf '%s ' \"$@\" >>" + calls().string());
    }

    void makeTool(const std::string& script) const {
        writeFile(m_folder / "bin/xdg-mime", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(m_folder / "bin/xdg-mime", std::filesystem::perms::owner_all);
    }
    std::optional<std::string> problem(platform::ShellKind shell = platform::ShellKind::terminal,
        platform::Registration registration = platform::Registration::atStart) const {
        return platform::registerUrlScheme(
            "quillet", "com.quillet.ZqMacClient", shell, registration);
    }
    bool registered(platform::ShellKind shell = platform::ShellKind::terminal) const {
        return !problem(shell);
    }
    std::filesystem::path home() const { return m_folder / "home"; }
    std::filesystem::path entry() const {
        return home() / ".local/share/applications/com.quillet.ZqMacClient.desktop";
    }
    std::filesystem::path service() const {
        return home() / ".local/share/dbus-1/services/com.quillet.ZqMacClient.service";
    }
    std::filesystem::path icon() const {
        return home() / ".local/share/icons/hicolor/scalable/apps/com.quillet.ZqMacClient.svg";
    }
    std::filesystem::path calls() const { return m_folder / "calls"; }

    TemporaryFolder m_folder;
};
