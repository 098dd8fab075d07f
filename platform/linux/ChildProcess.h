// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace platform {

/// Starts a program from PATH, without a shell, in a session of its own and with no standard
/// streams, and leaves it running. False when it cannot be started.
bool startDetached(const std::vector<std::string>& command);

/// The same, but waits for its end, for `limit` at most (then it goes on alone). True when it
/// ended with status 0.
bool runToEnd(const std::vector<std::string>& command, std::chrono::milliseconds limit);

} // namespace platform
