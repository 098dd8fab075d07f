// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// What the desktop entry tells the desktop about the program.
enum class ShellKind {
    terminal, ///< runs in a terminal
    desktop, ///< has a window, and comes to the front for a link
};

/// Writes the user's desktop entry (Desktop Entry 1.5, freedesktop.org) for the running program,
/// named after the bundle, and makes it the default handler of a URL scheme through `xdg-mime`.
/// For a desktop, also the icon. A service file of the session bus that an older version wrote
/// goes. Writes only what differs. False when something is missing for it.
bool registerUrlScheme(
    const std::string& scheme, const std::string& bundleIdentifier, ShellKind shell);

/// A program's path as one word of a desktop entry's Exec key, quoted if it must be.
std::string quotedForExec(const std::string& path);

} // namespace platform
