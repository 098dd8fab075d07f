// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace devserver {

/// The first line of a file, or for "-" what is typed at the terminal, unseen. Nothing, and the
/// cause in `error`, when there is none.
std::optional<std::string> readPassword(const std::string& source, std::string& error);

} // namespace devserver
