// SPDX-License-Identifier: MIT
// Desktop entries that are there already (Desktop Entry 1.5, freedesktop.org).
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

/// What a file holds; nothing when it cannot be read.
std::optional<std::string> fileContent(const std::filesystem::path& path);

/// A program's path as one word of a desktop entry's Exec key, quoted if it must be.
std::string quotedForExec(const std::string& path);

/// The key of an entry that its user asked for, by `install`.
inline constexpr const char* askedForLine = "X-Quillet-Install=true\n";

struct DesktopEntryFile {
    std::string content;

    static std::optional<DesktopEntryFile> read(const std::filesystem::path& path);
    /// The entry that serves all users: the first in XDG_DATA_DIRS whose program is there.
    static std::optional<DesktopEntryFile> ofSystem(const std::string& name);

    /// The program that the Exec line starts, bare names looked up in PATH; nothing when there is
    /// no such program (any more).
    std::optional<std::filesystem::path> program() const;
    bool isAskedFor() const;
};

/// Whether two paths lead to the same file.
bool isSameFile(const std::filesystem::path& one, const std::filesystem::path& other);

} // namespace platform
