// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/DesktopShell.h"

#include <memory>
#include <string>

namespace platform {

/// Whether the environment names a display (DISPLAY or WAYLAND_DISPLAY).
bool isDisplayNamed();

/// Whether the module of the desktop shell lies where it belongs: in the agent's folder below the
/// libraries' of the same installation (or build) as the running program.
bool isDesktopModuleThere();

/// Loads the module, for the rest of the process, and opens the desktop. Null, and `outcome` says
/// why, when that cannot be done.
std::unique_ptr<DesktopShell> openDesktop(
    DesktopHost& host, const DesktopStart& start, DesktopOutcome& outcome);

} // namespace platform
