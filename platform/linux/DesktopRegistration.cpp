// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopRegistration.h"

#include "DesktopEntry.h"
#include "platform/linux/BaseDirectory.h"
#include "platform/linux/ChildProcess.h"
#include "platform/linux/DesktopEntryFile.h"
#include "platform/linux/FileTrust.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace platform {

namespace {

namespace fs = std::filesystem;

using Problem = std::optional<std::string>;

constexpr std::chrono::seconds xdgMimeLimit{10};

fs::path runningProgram() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
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
    return fileContent(path) == content || replaceFile(path, content);
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
    const auto content
        = configuration ? fileContent(*configuration / "mimeapps.list") : std::nullopt;
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

/// The files of a user's own registration.
struct UserFiles {
    fs::path entry;
    fs::path icon;
    fs::path service;

    UserFiles(const fs::path& data, const std::string& identifier)
        : entry(data / "applications" / (identifier + ".desktop"))
        , icon(data / "icons/hicolor/scalable/apps" / (identifier + ".svg"))
        , service(data / "dbus-1/services" / (identifier + ".service")) { }

    void remove() const {
        std::error_code error;
        fs::remove(entry, error);
        fs::remove(icon, error);
    }
    /// Older versions wrote it. Nothing is started by the bus: openers do not wait for what they
    /// ask of it, and links are lost.
    void removeService() const {
        std::error_code error;
        fs::remove(service, error);
    }
};

std::string entryText(
    const std::string& scheme, const std::string& identifier, ShellKind shell, bool isAskedFor) {
    std::string entry = desktopEntryTemplate;
    replaceAll(entry, "{scheme}", scheme);
    replaceAll(entry, "{terminal}", shell == ShellKind::terminal ? "true" : "false");
    replaceAll(entry, "{program}", quotedForExec(runningProgram().string()));
    // An entry whose program is gone is not offered.
    std::string path = runningProgram().string();
    replaceAll(path, "\\", "\\\\");
    entry += "TryExec=" + path + "\n" + (isAskedFor ? askedForLine : "");
    return shell == ShellKind::desktop ? entry + "Icon=" + identifier + "\nStartupNotify=true\n"
                                       : entry;
}

/// The first file that could not be written, as a sentence.
Problem writeUserFiles(const UserFiles& files, const std::string& entry, ShellKind shell) {
    std::vector<std::pair<fs::path, std::string>> contents = {{files.entry, entry}};
    if (shell == ShellKind::desktop) {
        contents.emplace_back(files.icon, iconFile);
    }
    for (const auto& [path, content] : contents) {
        if (!ensureContent(path, content)) {
            return path.string() + " could not be written. Make its folder writable, and "
                + "run this program with the argument \"install\" again.";
        }
    }
    return std::nullopt;
}

Problem makeDefault(const std::string& scheme, const std::string& entryName) {
    const std::string mimeType = "x-scheme-handler/" + scheme;
    if (isDefaultAlready(mimeType, entryName)
        || runToEnd({"xdg-mime", "default", entryName, mimeType}, xdgMimeLimit)) {
        return std::nullopt;
    }
    return "\"xdg-mime default " + entryName + " " + mimeType
        + "\" failed. Install xdg-mime (the package xdg-utils) if it is missing, and run this "
          "program with the argument \"install\" again.";
}

/// Whether the user's entry goes before the system's: only one that its user asked for does, as
/// long as its program is there and another one than the system's.
bool goesBefore(const DesktopEntryFile& user, const DesktopEntryFile& system) {
    const auto program = user.program();
    return user.isAskedFor() && program && !isSameFile(*program, system.program().value_or(""));
}

/// Whether the user asked for another copy, which is still there.
bool belongsToAnother(const std::optional<DesktopEntryFile>& user) {
    const auto program = user && user->isAskedFor() ? user->program() : std::nullopt;
    return program && !isSameFile(*program, runningProgram());
}

} // namespace

Problem registerUrlScheme(const std::string& scheme, const std::string& bundleIdentifier,
    ShellKind shell, Registration registration) {
    const auto data = baseDirectory("XDG_DATA_HOME", ".local/share");
    if (!data) {
        return "neither HOME nor XDG_DATA_HOME names a folder. Set HOME, and run this program with "
               "the argument \"install\" again.";
    }
    const fs::path program = runningProgram();
    if (program.empty() || program.string().find_first_of("\r\n") != std::string::npos) {
        return "the program's path cannot stand in a desktop entry. Move it to another folder.";
    }
    const std::string entryName = bundleIdentifier + ".desktop";
    const UserFiles files(*data, bundleIdentifier);
    files.removeService();
    const auto user = DesktopEntryFile::read(files.entry);
    const auto system = DesktopEntryFile::ofSystem(entryName);
    const bool isWish = registration == Registration::askedFor;
    if (!isWish && system) {
        if (user && !goesBefore(*user, *system)) {
            files.remove();
        }
        return std::nullopt;
    }
    if (!isWish && belongsToAnother(user)) {
        return std::nullopt;
    }
    if (system && isSameFile(*system->program(), program)) {
        files.remove();
        return makeDefault(scheme, entryName);
    }
    const bool isAskedFor = isWish || (user && user->isAskedFor() && user->program());
    const std::string entry = entryText(scheme, bundleIdentifier, shell, isAskedFor);
    if (Problem problem = writeUserFiles(files, entry, shell)) {
        return problem;
    }
    return makeDefault(scheme, entryName);
}

std::optional<fs::path> programToYieldTo(const std::string& bundleIdentifier) {
    const auto data = baseDirectory("XDG_DATA_HOME", ".local/share");
    const auto system = DesktopEntryFile::ofSystem(bundleIdentifier + ".desktop");
    if (!data || !system) {
        return std::nullopt;
    }
    const UserFiles files(*data, bundleIdentifier);
    const auto user = DesktopEntryFile::read(files.entry);
    const bool isOwn = user && isSameFile(user->program().value_or(""), runningProgram());
    if (!isOwn || goesBefore(*user, *system) || isSameFile(*system->program(), runningProgram())
        || whyNotTrusted(*system->program())) {
        return std::nullopt;
    }
    files.remove();
    return system->program();
}

} // namespace platform
