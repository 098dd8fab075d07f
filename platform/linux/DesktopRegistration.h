// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// Writes the user's desktop entry (Desktop Entry 1.5, freedesktop.org) for the running program,
/// named after the bundle, and makes it the default handler of a URL scheme through `xdg-mime`.
/// Writes only what differs. False when something is missing for it.
bool registerUrlScheme(const std::string& scheme, const std::string& bundleIdentifier);

/// A program's path as one word of a desktop entry's Exec key.
std::string quotedForExec(const std::string& path);

} // namespace platform
