// SPDX-License-Identifier: MIT
// Where Firefox keeps the certificates of its user.
#pragma once

#include <filesystem>
#include <vector>

namespace platform {

/// The default profiles of the Firefoxes that the owner of `home` has used: the system's package,
/// the Snap, the Flatpak, in this order. A folder that holds no certificate database is left out.
std::vector<std::filesystem::path> firefoxProfiles(const std::filesystem::path& home);

} // namespace platform
