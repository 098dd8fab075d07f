// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace devserver {

/// A shell command that starts an agent with a link, trusting the authority of a file.
std::string agentCommand(const std::string& authorityFile, const std::string& link);

/// A text as one word of a POSIX shell.
std::string shellQuoted(const std::string& text);

} // namespace devserver
