// SPDX-License-Identifier: MIT
#include "platform/linux/LinuxSystem.h"

#include "BundleInfo.h"
#include "foundation/Utf8.h"
#include "platform/Platform.h"
#include "platform/linux/BaseDirectory.h"
#include "platform/linux/DesktopModule.h"
#include "platform/linux/DesktopRegistration.h"
#include "platform/linux/FileTrust.h"
#include "platform/shared/CommandLine.h"
#include "platform/shared/LogFile.h"
#include "platform/shared/TerminalText.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <list>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace platform {

namespace {

/// "YYYY-MM-DD HH:MM:SS" of a time, local. The lines of one second share the text.
const std::string& dateText(time_t second) {
    thread_local time_t lastSecond = -1;
    thread_local std::string text;
    if (second != lastSecond) {
        tm parts{};
        localtime_r(&second, &parts);
        std::array<char, 32> date{};
        text.assign(
            date.data(), std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &parts));
        lastSecond = second;
    }
    return text;
}

/// "YYYY-MM-DD HH:MM:SS.mmm ZqMacClient[PID:TID] ", local time.
std::string logPrefix() {
    thread_local const std::string origin
        = " ZqMacClient[" + std::to_string(getpid()) + ":" + std::to_string(gettid()) + "] ";
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::string milliseconds = std::to_string(now.tv_nsec / 1'000'000);
    milliseconds.insert(0, 3 - milliseconds.size(), '0');
    return dateText(now.tv_sec) + "." + milliseconds + origin;
}

/// Writes the parts with one call as long as the system takes them whole, which keeps lines of
/// several processes apart in a file opened for appending.
void writeTogether(int descriptor, std::vector<iovec> parts) {
    std::size_t first = 0;
    while (first < parts.size()) {
        const std::size_t count = std::min<std::size_t>(parts.size() - first, IOV_MAX);
        ssize_t written = writev(descriptor, &parts[first], static_cast<int>(count));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return; // a full disk or a closed stream must not stop a signature
        }
        while (first < parts.size() && static_cast<std::size_t>(written) >= parts[first].iov_len) {
            written -= static_cast<ssize_t>(parts[first].iov_len);
            ++first;
        }
        if (first < parts.size()) {
            parts[first].iov_base = static_cast<char*>(parts[first].iov_base) + written;
            parts[first].iov_len -= static_cast<std::size_t>(written);
        }
    }
}

std::string_view withoutTrailingNuls(std::string_view text) {
    const std::size_t last = text.find_last_not_of('\0');
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

/// The log's place where the usual one cannot be had: made for its user alone.
int openLogInStateFolder(const std::string& fileName) {
    const auto state = baseDirectory("XDG_STATE_HOME", ".local/state");
    if (!state) {
        return -1;
    }
    const std::filesystem::path folder = *state / "quillet";
    std::error_code error;
    std::filesystem::create_directories(*state, error);
    mkdir(folder.c_str(), S_IRWXU);
    return openOwnLogFile((folder / fileName).string());
}

/// What the log takes of a text: it stays a text file, so no NUL and no ill-formed UTF-8 goes in.
std::string logSafe(std::string_view text) {
    std::string safe = utf8Repaired(text);
    std::erase(safe, '\0');
    return safe;
}

template <std::size_t size>
std::array<std::uint8_t, size> digestOf(BytesView data, const EVP_MD* algorithm) {
    std::array<std::uint8_t, size> digest{};
    unsigned int length = 0;
    if (EVP_Digest(data.data(), data.size(), digest.data(), &length, algorithm, nullptr) != 1
        || length != size) {
        fatalError("the cryptographic library makes no digest"); // never a wrong one
    }
    return digest;
}

} // namespace

LinuxSystem::LinuxSystem(int argc, char** argv)
    : m_arguments(takeArguments(argc, argv)) {
}

LinuxSystem::~LinuxSystem() {
    if (m_firstError >= 0) {
        close(m_firstError);
    }
}

bool LinuxSystem::isInstall() const {
    return m_arguments.size() > 1 && m_arguments[1] == "install";
}

void LinuxSystem::NSLog(LogText text) {
    const std::string prefix = logPrefix();
    std::list<std::string> copies;
    std::vector<iovec> parts;
    parts.reserve(text.size() + 2);
    const auto add = [&parts](std::string_view part) {
        parts.push_back({const_cast<char*>(part.data()), part.size()});
    };
    add(prefix);
    for (const LogPiece& piece : text) {
        const std::string_view content
            = piece.isClean() ? piece.view() : withoutTrailingNuls(piece.view());
        if (!m_hasLogFile) {
            add(copies.emplace_back(displayableLine(content)));
            continue;
        }
        const bool isSafe
            = piece.isClean() || CleanText::beginningOf(content).view().size() == content.size();
        add(isSafe ? content : std::string_view(copies.emplace_back(logSafe(content))));
    }
    add("\n");
    writeTogether(STDERR_FILENO, std::move(parts));
}

void LinuxSystem::print(std::string_view line) {
    writeAll(STDOUT_FILENO, displayableLine(line) + "\n");
}

bool LinuxSystem::reopenStandardError(const std::string& path, const std::string& mode) {
    if (mode != "a+") {
        return false;
    }
    int descriptor = openOwnLogFile(path);
    if (descriptor < 0) {
        descriptor = openLogInStateFolder(std::filesystem::path(path).filename().string());
    }
    if (descriptor < 0) {
        return false;
    }
    if (isInstall() && m_firstError < 0) {
        m_firstError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    const bool reopened = dup2(descriptor, STDERR_FILENO) == STDERR_FILENO;
    close(descriptor);
    m_hasLogFile = m_hasLogFile || reopened;
    return reopened;
}

std::optional<std::string> LinuxSystem::bundleIdentifier() {
    const auto identifier = objectForInfoDictionaryKey("CFBundleIdentifier");
    const auto* text = identifier ? identifier->as<std::string>() : nullptr;
    return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
}

std::optional<PropertyValue> LinuxSystem::objectForInfoDictionaryKey(const std::string& key) {
    const auto* found = std::find_if(std::begin(bundleInfo), std::end(bundleInfo),
        [&](const auto& entry) { return entry.first == key; });
    if (found == std::end(bundleInfo)) {
        return std::nullopt;
    }
    return std::string(found->second);
}

std::vector<std::string> LinuxSystem::arguments() {
    return m_arguments;
}

NSOperatingSystemVersion LinuxSystem::operatingSystemVersion() {
    utsname name{};
    return uname(&name) == 0 ? versionOfKernelRelease(name.release) : NSOperatingSystemVersion();
}

std::int32_t LinuxSystem::LSSetDefaultHandlerForURLScheme(
    const std::string& scheme, const std::string& bundleIdentifier) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    // A link must not start what somebody else puts there.
    if (const auto reason = whyNotTrusted(program)) {
        tellOfRegistration("No links are asked for, because " + *reason);
        return -1;
    }
    const ShellKind shell = isDesktopModuleThere() ? ShellKind::desktop : ShellKind::terminal;
    const bool isAskedFor = isInstall();
    const std::optional<std::string> problem = registerUrlScheme(scheme, bundleIdentifier, shell,
        isAskedFor ? Registration::askedFor : Registration::atStart);
    if (problem && isAskedFor) {
        tellOfRegistration("Not registered for " + scheme + ":// links: " + *problem);
    }
    return problem ? -1 : 0;
}

void LinuxSystem::tellOfRegistration(const std::string& line) {
    NSLog(std::array{LogPiece(line)});
    if (m_firstError >= 0) {
        writeAll(m_firstError, displayableLine(line) + "\n");
    }
}

std::array<std::uint8_t, 20> LinuxSystem::CC_SHA1(BytesView data) {
    return digestOf<20>(data, EVP_sha1());
}

std::array<std::uint8_t, 32> LinuxSystem::CC_SHA256(BytesView data) {
    return digestOf<32>(data, EVP_sha256());
}

void writeAll(int descriptor, std::string_view text) {
    writeTogether(descriptor, {{const_cast<char*>(text.data()), text.size()}});
}

NSOperatingSystemVersion versionOfKernelRelease(std::string_view release) {
    NSOperatingSystemVersion version;
    for (long* number : {&version.majorVersion, &version.minorVersion, &version.patchVersion}) {
        const char* const end = release.data() + release.size();
        const auto [parsed, error] = std::from_chars(release.data(), end, *number);
        release.remove_prefix(static_cast<std::size_t>(parsed - release.data()));
        if (error != std::errc() || !release.starts_with('.')) {
            break;
        }
        release.remove_prefix(1);
    }
    return version;
}

} // namespace platform
