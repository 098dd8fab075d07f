// SPDX-License-Identifier: MIT
#include "devserver/session/AgentCommand.h"

namespace devserver {

std::string agentCommand(const std::string& authorityFile, const std::string& link) {
    return "SSL_CERT_FILE=" + shellQuoted(authorityFile) + " ZqMacClient " + shellQuoted(link);
}

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace devserver
