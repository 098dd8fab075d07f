// SPDX-License-Identifier: MIT
#include "platform/linux/BaseDirectory.h"

#include <cstdlib>

namespace platform {

std::optional<std::filesystem::path> baseDirectory(
    const char* variable, const char* defaultInHome) {
    const char* value = std::getenv(variable);
    if (value != nullptr && value[0] == '/') {
        return std::filesystem::path(value);
    }
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/') {
        return std::nullopt;
    }
    return std::filesystem::path(home) / defaultInHome;
}

} // namespace platform
