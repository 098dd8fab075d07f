// SPDX-License-Identifier: MIT
#include "devserver/program/Files.h"

#include "devserver/session/DocumentSigning.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace devserver {

namespace {

namespace fs = std::filesystem;

std::string cannotBeWritten(const std::string& path, int error) {
    return path + " cannot be written: " + std::strerror(error);
}

/// Where a name leads, through links, whether there is a file or not.
fs::path placeOf(const std::string& path) {
    std::error_code code;
    const fs::path place = fs::weakly_canonical(fs::absolute(path), code);
    return code ? fs::path(path) : place;
}

/// An open descriptor, and the name of the file if it is one to be removed.
class Output {
public:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
        if (!m_temporary.empty()) {
            unlink(m_temporary.c_str());
        }
    }

    /// 0, or the error.
    int open(const fs::path& path) {
        struct stat status { };
        const bool isThere = stat(path.c_str(), &status) == 0;
        if (isThere && S_ISDIR(status.st_mode)) {
            return EISDIR;
        }
        if (isThere && !S_ISREG(status.st_mode)) {
            m_descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
            return m_descriptor < 0 ? errno : 0;
        }
        if (isThere && access(path.c_str(), W_OK) != 0) {
            return errno; // the folder might allow to replace it, but nobody meant that
        }
        m_target = path;
        std::string name = (path.parent_path() / ".quillet-XXXXXX").string();
        m_descriptor = mkostemp(name.data(), O_CLOEXEC);
        if (m_descriptor < 0) {
            return errno;
        }
        m_temporary = name;
        const mode_t mask = umask(0);
        umask(mask);
        const mode_t mode = isThere ? status.st_mode & 0777 : 0666 & ~mask;
        return fchmod(m_descriptor, mode) == 0 ? 0 : errno;
    }

    int write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t written = ::write(m_descriptor, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR) {
                return errno;
            }
            bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return 0;
    }

    /// Puts the file where it belongs once its bytes are on the disk.
    int finish() {
        if (m_temporary.empty()) {
            return 0;
        }
        if (fsync(m_descriptor) != 0 || rename(m_temporary.c_str(), m_target.c_str()) != 0) {
            return errno;
        }
        m_temporary.clear();
        const int folder = ::open(m_target.parent_path().c_str(), O_RDONLY | O_CLOEXEC);
        if (folder >= 0) {
            fsync(folder); // the new name too; not every file system can
            close(folder);
        }
        return 0;
    }

private:
    int m_descriptor = -1;
    fs::path m_target;
    std::string m_temporary;
};

} // namespace

std::optional<std::string> readFile(const std::string& path, std::string& error) {
    std::error_code code;
    const std::uintmax_t size = std::filesystem::file_size(path, code);
    if (code) {
        error = path + " cannot be read: " + code.message();
        return std::nullopt;
    }
    if (size > largestDocument) {
        error = path + " cannot be signed: " + tooLargeText(largestDocument);
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(size));
    if (!file) {
        error = path + " cannot be read";
        return std::nullopt;
    }
    return bytes;
}

std::string dataFolder() {
    const auto environment = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value != nullptr ? value : "");
    };
    const std::string data = environment("XDG_DATA_HOME");
    const std::string home = environment("HOME");
    if (!data.empty()) {
        return data + "/quillet-devserver";
    }
    return home.empty() ? "" : home + "/.local/share/quillet-devserver";
}

std::optional<std::string> writeFile(const std::string& path, std::string_view bytes) {
    Output output;
    int error = output.open(placeOf(path));
    error = error != 0 ? error : output.write(bytes);
    error = error != 0 ? error : output.finish();
    return error != 0 ? std::optional(cannotBeWritten(path, error)) : std::nullopt;
}

std::optional<std::string> refusalToWrite(const std::string& path) {
    const int error = Output().open(placeOf(path));
    return error != 0 ? std::optional(cannotBeWritten(path, error)) : std::nullopt;
}

bool isSameFile(const std::string& one, const std::string& other) {
    std::error_code code;
    const fs::path place = placeOf(one);
    return place == placeOf(other)
        && (!fs::exists(place, code) || fs::is_regular_file(place, code));
}

} // namespace devserver
