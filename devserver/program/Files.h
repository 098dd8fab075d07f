// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// The whole file; nothing, and the cause in `error`, when it cannot be read or is larger than a
/// document may be.
std::optional<std::string> readFile(const std::string& path, std::string& error);

/// Writes a file that appears whole or not at all: until it is on the disk, one that has the name
/// already stays as it is. What is no regular file (a terminal, a pipe) is written to. Nothing on
/// success, else the cause.
std::optional<std::string> writeFile(const std::string& path, std::string_view bytes);

/// Why `writeFile` would fail before its first byte; nothing when it would not. A file that has the
/// name stays as it is.
std::optional<std::string> refusalToWrite(const std::string& path);

/// Whether two names, of files that there are or not, mean one file.
bool isSameFile(const std::string& one, const std::string& other);

/// The folder of a user's data of this program: below XDG_DATA_HOME, or else below HOME; empty when
/// neither is known.
std::string dataFolder();

} // namespace devserver
