// SPDX-License-Identifier: MIT
#include "devserver/program/Introduction.h"

#include <filesystem>

namespace devserver {

std::string introductionOf(
    const Server& server, const std::string& authorityPath, const std::string& room) {
    const std::string link = server.link(room);
    const std::string authority = std::filesystem::absolute(authorityPath).string();
    return "server     https://localhost:" + std::to_string(server.port()) + "\nauthority  "
        + authority + "\nlink       " + link + "\nagent      SSL_CERT_FILE='" + authority
        + "' ZqMacClient '" + link + "'\n\n";
}

} // namespace devserver
