// SPDX-License-Identifier: MIT
#include "platform/shared/LogFile.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

std::string logLine(LogText text) {
    std::string line;
    for (const LogPiece& piece : text) {
        line += piece.view();
    }
    std::erase(line, '\0');
    return line;
}

namespace {

constexpr off_t longestLog = off_t{512} << 20;

/// Renames a log that has grown too long. Of several processes that have opened it, one does.
void putAside(int descriptor, const std::string& path) {
    struct stat opened { };
    struct stat named { };
    if (flock(descriptor, LOCK_EX) == 0) {
        const bool isNamedSo = fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &named) == 0
            && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
        if (isNamedSo) {
            std::rename(path.c_str(), (path + ".1").c_str());
        }
        flock(descriptor, LOCK_UN);
    }
}

bool isTooLong(int descriptor) {
    struct stat status { };
    return fstat(descriptor, &status) == 0 && status.st_size > longestLog;
}

int openOwnFile(const std::string& path) {
    const int descriptor = open(path.c_str(),
        O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return -1;
    }
    struct stat status { };
    const bool isOwn = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
        && status.st_uid == geteuid() && status.st_nlink == 1;
    constexpr mode_t ownerAlone = S_IRUSR | S_IWUSR;
    const bool isPrivate = isOwn
        && ((status.st_mode & ALLPERMS) == ownerAlone || fchmod(descriptor, ownerAlone) == 0);
    if (!isPrivate) {
        close(descriptor);
    }
    return isPrivate ? descriptor : -1;
}

} // namespace

int openOwnLogFile(const std::string& path) {
    const int descriptor = openOwnFile(path);
    if (descriptor < 0 || !isTooLong(descriptor)) {
        return descriptor;
    }
    putAside(descriptor, path);
    close(descriptor);
    return openOwnFile(path);
}

bool redirectToOwnLogFile(int descriptor, const std::string& path) {
    const int file = openOwnLogFile(path);
    if (file < 0) {
        return false;
    }
    const bool isRedirected = dup2(file, descriptor) == descriptor;
    close(file);
    return isRedirected;
}

} // namespace platform
