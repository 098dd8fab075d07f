// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// How a person gets a certificate into the database of a folder: commands that can be pasted, with
/// those that make the database where there is none yet.
std::string importHelp(const std::string& folder, bool isDatabaseThere);

} // namespace platform
