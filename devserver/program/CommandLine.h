// SPDX-License-Identifier: MIT
// The program's command line.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devserver {

struct HelpRequest { };
struct VersionRequest { };

struct DemoOptions {
    std::string pdf;
    std::string xml;
    std::string out; // directory
    std::uint16_t port = 0;
    std::string room = "demo";
    std::chrono::seconds timeout{30}; // of each step
    std::optional<std::string> agent; // program to start
    std::vector<std::string> agentArguments; // after the link
};

struct ServeOptions {
    std::uint16_t port = 0;
    std::string room = "demo"; // of the link; agents may join any
};

struct UsageError {
    std::string reason;
};

using CommandLine
    = std::variant<HelpRequest, VersionRequest, DemoOptions, ServeOptions, UsageError>;

/// `arguments` without the program's own name.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

extern const char* const usageText;

} // namespace devserver
