// SPDX-License-Identifier: MIT
// What can be typed while `serve` runs.
#pragma once

#include <optional>
#include <string>
#include <variant>

namespace devserver {

struct QuitCommand { };
/// Text to be shown: the help, or what is wrong with the line. Empty for an empty line.
struct Reply {
    std::string text;
};
/// An envelope for the agent.
struct PostCommand {
    std::string envelope;
};

using ServeCommand = std::variant<QuitCommand, Reply, PostCommand>;

/// Reads the file that a signing command names. `requestId` is that of the envelope, if it is one
/// of those that carry one.
ServeCommand parseServeCommand(const std::string& line, const std::string& requestId);

} // namespace devserver
