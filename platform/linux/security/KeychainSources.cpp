// SPDX-License-Identifier: MIT
#include "platform/linux/security/KeychainSources.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace platform {

namespace {

std::string homeFolder() {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        const passwd* account = getpwuid(getuid());
        home = account == nullptr ? "" : account->pw_dir;
    }
    return home;
}

} // namespace

std::string defaultDatabaseDirectory() {
    return homeFolder() + "/.pki/nssdb";
}

KeychainSources KeychainSources::ofUser() {
    return {defaultDatabaseDirectory(), homeFolder(), true};
}

} // namespace platform
