// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

/// What the desktop entry tells the desktop about the program.
enum class ShellKind {
    terminal, ///< runs in a terminal
    desktop, ///< has a window, and comes to the front for a link
};

enum class Registration {
    atStart, ///< every start of the program
    askedFor, ///< its user asked for this copy, by `install`
};

/// Makes a URL scheme's links come to this program, as far as that is its turn. Where an entry for
/// all users is there, it serves, and a start writes nothing; it only takes away the user's entry
/// before it, unless the user asked for that one and its program is there. Elsewhere the
/// user's entry (Desktop Entry 1.5, freedesktop.org) is made to name the running program, unless
/// the user asked for another copy that is there; and it is made the scheme's default handler
/// through `xdg-mime`. For a desktop, there is also the icon. A service file of the session bus
/// that an older version wrote goes. Writes only what differs. Nothing on success, else what failed
/// and what to do about it.
std::optional<std::string> registerUrlScheme(const std::string& scheme,
    const std::string& bundleIdentifier, ShellKind shell, Registration registration);

/// The program whose links these are when this one was started for a link only because a user's
/// entry lies before the one for all users: a copy that nobody asked for steps back at the first
/// click. Its entry is taken away. Nothing where this program is the one to serve the link.
std::optional<std::filesystem::path> programToYieldTo(const std::string& bundleIdentifier);

} // namespace platform
