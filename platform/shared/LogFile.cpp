// SPDX-License-Identifier: MIT
#include "platform/shared/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

std::string logLine(LogText text) {
    std::string line;
    for (const std::string_view piece : text) {
        line += piece;
    }
    std::erase(line, '\0');
    return line;
}

int openOwnLogFile(const std::string& path) {
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

bool isOwnLogFile(const std::string& path) {
    const int descriptor = openOwnLogFile(path);
    return descriptor >= 0 && close(descriptor) == 0;
}

} // namespace platform
