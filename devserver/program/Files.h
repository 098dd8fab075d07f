// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// The largest file that is signed: twice in Base64 it still fits into one message.
inline constexpr std::size_t largestFile = std::size_t{90} << 20;

/// The whole file; nothing, and the cause in `error`, when it cannot be read or is too large.
std::optional<std::string> readFile(const std::string& path, std::string& error);

bool writeFile(const std::string& path, std::string_view bytes);

} // namespace devserver
