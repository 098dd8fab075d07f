// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopRegistration.h"

#include "DesktopEntry.h"
#include "platform/linux/BaseDirectory.h"
#include "platform/linux/ChildProcess.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <unistd.h>

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds xdgMimeLimit{10};

std::optional<std::string> contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// Through a file beside it, so that a reader never sees half an entry.
bool replaceFile(const fs::path& path, const std::string& content) {
    const fs::path draft = path.string() + "." + std::to_string(getpid());
    std::error_code error;
    {
        std::ofstream file(draft, std::ios::binary | std::ios::trunc);
        file << content;
        if (!file.flush()) {
            fs::remove(draft, error);
            return false;
        }
    }
    fs::rename(draft, path, error);
    if (error) {
        std::error_code ignored;
        fs::remove(draft, ignored);
    }
    return !error;
}

/// Leaves a file that has this content already alone.
bool ensureContent(const fs::path& path, const std::string& content) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return contentOf(path) == content || replaceFile(path, content);
}

void replaceAll(std::string& text, std::string_view what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

/// Whether the user's own choice of default applications names the entry for the type already.
bool isDefaultAlready(const std::string& mimeType, const std::string& entryName) {
    const auto configuration = baseDirectory("XDG_CONFIG_HOME", ".config");
    const auto content = configuration ? contentOf(*configuration / "mimeapps.list") : std::nullopt;
    if (!content) {
        return false;
    }
    std::istringstream lines(*content);
    std::string line;
    bool inDefaults = false;
    while (std::getline(lines, line)) {
        if (line.starts_with('[')) {
            inDefaults = line == "[Default Applications]";
        } else if (inDefaults
            && (line == mimeType + "=" + entryName
                || line.starts_with(mimeType + "=" + entryName + ";"))) {
            return true;
        }
    }
    return false;
}

} // namespace

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

bool registerUrlScheme(
    const std::string& scheme, const std::string& bundleIdentifier, ShellKind shell) {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const auto data = baseDirectory("XDG_DATA_HOME", ".local/share");
    if (error || !data || program.string().find_first_of("\r\n") != std::string::npos) {
        return false;
    }
    std::string entry = desktopEntryTemplate;
    replaceAll(entry, "{scheme}", scheme);
    replaceAll(entry, "{terminal}", shell == ShellKind::terminal ? "true" : "false");
    replaceAll(entry, "{program}", quotedForExec(program.string()));
    bool written = true;
    if (shell == ShellKind::desktop) {
        entry += "Icon=" + bundleIdentifier + "\nStartupNotify=true\n";
        const fs::path icon = *data / "icons/hicolor/scalable/apps" / (bundleIdentifier + ".svg");
        written = ensureContent(icon, iconFile);
    }
    // Nothing is started by the bus: openers do not wait for what they ask of it, and links are
    // lost.
    fs::remove(*data / "dbus-1/services" / (bundleIdentifier + ".service"), error);
    const std::string entryName = bundleIdentifier + ".desktop";
    if (!ensureContent(*data / "applications" / entryName, entry) || !written) {
        return false;
    }
    const std::string mimeType = "x-scheme-handler/" + scheme;
    return isDefaultAlready(mimeType, entryName)
        || runToEnd({"xdg-mime", "default", entryName, mimeType}, xdgMimeLimit);
}

} // namespace platform
