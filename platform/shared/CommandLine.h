// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace platform {

/// The arguments of the process. What follows the scheme of a link is overwritten in `argv`, where
/// other users can read it: the room's name is all that lets one in.
std::vector<std::string> takeArguments(int argc, char** argv);

} // namespace platform
