// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopEntryFile.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

namespace fs = std::filesystem;

/// The value of a key, as it stands in the first group.
std::optional<std::string> rawValue(const std::string& content, std::string_view key) {
    std::istringstream lines(content);
    std::string line;
    bool isInEntry = false;
    while (std::getline(lines, line)) {
        if (line.starts_with('[')) {
            isInEntry = line == "[Desktop Entry]";
        } else if (isInEntry && line.starts_with(key) && line.size() > key.size()
            && line[key.size()] == '=') {
            return line.substr(key.size() + 1);
        }
    }
    return std::nullopt;
}

/// Undoes the escapes that every value may have.
std::string unescaped(const std::string& value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        switch (value[++i]) {
        case 's':
            text += ' ';
            break;
        case 't':
            text += '\t';
            break;
        case 'n':
            text += '\n';
            break;
        case 'r':
            text += '\r';
            break;
        default:
            text += value[i];
        }
    }
    return text;
}

/// The first word of a command, which may stand in quotes.
std::string firstWord(const std::string& command) {
    const bool isQuoted = command.starts_with('"');
    std::string word;
    for (std::size_t i = isQuoted ? 1 : 0; i < command.size(); ++i) {
        const char c = command[i];
        if (isQuoted ? c == '"' : c == ' ') {
            break;
        }
        const bool isEscape = (isQuoted && c == '\\') || (c == '%' && command[i + 1] == '%');
        if (isEscape && i + 1 < command.size()) {
            ++i;
        }
        word += command[i];
    }
    return word;
}

bool isProgram(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

/// The folders of a list like that of PATH; those that are not absolute do not count.
std::vector<fs::path> foldersOf(const char* variable, const char* otherwise) {
    const char* const value = std::getenv(variable);
    std::istringstream list(value != nullptr && *value != '\0' ? value : otherwise);
    std::vector<fs::path> folders;
    for (std::string folder; std::getline(list, folder, ':');) {
        if (folder.starts_with('/')) {
            folders.emplace_back(folder);
        }
    }
    return folders;
}

} // namespace

std::optional<std::string> fileContent(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::string quotedForExec(const std::string& path) {
    // The xdg-open of systems without a desktop environment does not understand quotes, so they
    // stand only where there must be some.
    constexpr std::string_view plain
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+";
    if (path.find_first_not_of(plain) == std::string::npos) {
        return path;
    }
    // Inside quotes the four characters take a backslash, which the value's own escaping doubles;
    // a per-cent sign would begin a field code.
    std::string quoted = "\"";
    for (const char c : path) {
        switch (c) {
        case '"':
        case '`':
        case '$':
            quoted += "\\\\";
            quoted += c;
            break;
        case '\\':
            quoted += "\\\\\\\\";
            break;
        case '%':
            quoted += "%%";
            break;
        default:
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::optional<DesktopEntryFile> DesktopEntryFile::read(const fs::path& path) {
    std::optional<std::string> content = fileContent(path);
    return content ? std::optional(DesktopEntryFile{std::move(*content)}) : std::nullopt;
}

std::optional<DesktopEntryFile> DesktopEntryFile::ofSystem(const std::string& name) {
    for (const fs::path& folder : foldersOf("XDG_DATA_DIRS", "/usr/local/share:/usr/share")) {
        std::optional<DesktopEntryFile> entry = read(folder / "applications" / name);
        if (entry && entry->program()) {
            return entry;
        }
    }
    return std::nullopt;
}

std::optional<fs::path> DesktopEntryFile::program() const {
    const fs::path named = firstWord(unescaped(rawValue(content, "Exec").value_or("")));
    if (named.empty() || named.is_absolute()) {
        return isProgram(named) ? std::optional(named) : std::nullopt;
    }
    for (const fs::path& folder : foldersOf("PATH", "/usr/local/bin:/usr/bin:/bin")) {
        if (isProgram(folder / named)) {
            return folder / named;
        }
    }
    return std::nullopt;
}

bool DesktopEntryFile::isAskedFor() const {
    return content.find(askedForLine) != std::string::npos;
}

bool isSameFile(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return fs::equivalent(one, other, error);
}

} // namespace platform
