// SPDX-License-Identifier: MIT
#include "platform/linux/FileTrust.h"

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

std::optional<std::string> whyNotTrusted(const std::filesystem::path& file) {
    for (const std::filesystem::path& path : {file.parent_path(), file}) {
        struct stat status { };
        if (stat(path.c_str(), &status) != 0) {
            return path.string() + " cannot be found";
        }
        if (status.st_uid != 0 && status.st_uid != geteuid()) {
            return path.string() + " belongs to another user";
        }
        if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
            return path.string() + " can be changed by other users";
        }
    }
    return std::nullopt;
}

} // namespace platform
