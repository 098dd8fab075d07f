// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform {

/// What to print for a start that only asks about the program (`--help`, `-h`, `--version`);
/// nothing for all others. Such a start is answered before the program is launched.
std::optional<std::string> commandLineAnswer(const std::vector<std::string>& arguments);

} // namespace platform
