// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace devserver {

/// A program, looked up in PATH, and its arguments.
using Command = std::vector<std::string>;

/// The command for a POSIX shell.
std::string shellText(const Command& command);

enum class CommandOutput { shown, dropped };

/// Runs a command with the standard streams of this program. Nothing when it ended with status 0,
/// else the cause.
std::optional<std::string> runCommand(
    const Command& command, CommandOutput output = CommandOutput::shown);

/// Where PATH has a program; empty where it has none.
std::string programInPath(const std::string& name);

} // namespace devserver
