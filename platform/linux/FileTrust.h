// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

/// Why a file must not be run with the rights of this user, in words; nothing when it may be: it
/// and its folder belong to root or to the user, and nobody else may write to them.
std::optional<std::string> whyNotTrusted(const std::filesystem::path& file);

} // namespace platform
