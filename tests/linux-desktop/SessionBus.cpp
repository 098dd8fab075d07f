// SPDX-License-Identifier: MIT
#include "tests/linux-desktop/SessionBus.h"

#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

/// The path of a configuration file that this writes.
std::string configuration(const fs::path& folder, const fs::path& home) {
    const fs::path file = folder / "bus.conf";
    writeFile(file,
        R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=)"
            + folder.string() + R"(</listen>
  <auth>EXTERNAL</auth>
  <servicedir>)"
            + (home / ".local/share/dbus-1/services").string() + R"(</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
    return file.string();
}

} // namespace

SessionBus::SessionBus(const fs::path& folder, const fs::path& home,
    const std::map<std::string, std::string>& environment)
    : m_daemon({"dbus-daemon", "--nofork", "--print-address=3",
                   "--config-file=" + configuration(folder, home)},
        environment) {
}
