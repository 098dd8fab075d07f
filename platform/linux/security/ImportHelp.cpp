// SPDX-License-Identifier: MIT
#include "platform/linux/security/ImportHelp.h"

namespace platform {

namespace {

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace

std::string importHelp(const std::string& folder, bool isDatabaseThere) {
    const std::string database = shellQuoted("sql:" + folder);
    std::string help = "To import a certificate with its key from a file identity.p12, install "
                       "libnss3-tools (in Fedora: nss-tools) and enter in a terminal:\n";
    if (!isDatabaseThere) {
        help += "mkdir -p -m 700 " + shellQuoted(folder) + "\ncertutil -N -d " + database + "\n";
    }
    return help + "pk12util -i identity.p12 -d " + database;
}

} // namespace platform
