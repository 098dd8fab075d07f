// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// The whole file; nothing, and the cause in `error`, when it cannot be read or is larger than a
/// document may be.
std::optional<std::string> readFile(const std::string& path, std::string& error);

/// Whether the whole file was written.
bool writeFile(const std::string& path, std::string_view bytes);

/// The folder of a user's data of this program: below XDG_DATA_HOME, or else below HOME; empty when
/// neither is known.
std::string dataFolder();

} // namespace devserver
