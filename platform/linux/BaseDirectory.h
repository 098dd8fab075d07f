// SPDX-License-Identifier: MIT
// The user's base directories (XDG Base Directory, freedesktop.org).
#pragma once

#include <filesystem>
#include <optional>

namespace platform {

/// What the variable names, if that is absolute; otherwise the default in the home folder.
std::optional<std::filesystem::path> baseDirectory(const char* variable, const char* defaultInHome);

} // namespace platform
