// SPDX-License-Identifier: MIT
#include "devserver/program/CommandLine.h"

#include <charconv>
#include <cstddef>
#include <functional>
#include <map>

namespace devserver {

const char* const usageText =
    R"(usage: quillet-devserver sign-demo --pdf FILE --xml FILE --out DIR [--port N] [--room ID]
                                   [--timeout SECONDS] [--agent PROGRAM [-- ARGUMENT...]]
       quillet-devserver serve [--port N] [--room ID]
       quillet-devserver --help | --version

A signing server on this machine, for development: HTTPS with an authority of its own, the
endpoints of the update check, and rooms that agents join.

sign-demo  runs one session: waits for an agent, asks for diagnostics and certificates, has FILE
           and FILE signed with the first certificate, ends the agent. What came back is in DIR.
           Ends with status 0 when every step succeeded.
serve      serves until it is ended, and sends what is typed; "help" lists the commands.

  --pdf FILE         a PDF document
  --xml FILE         a canonical XML SignedInfo block
  --out DIR          where the results go; made when missing
  --port N           the port to listen on (default: a free one)
  --room ID          the room of the printed link (default: demo)
  --timeout SECONDS  how long each step may take (default: 30)
  --agent PROGRAM    starts PROGRAM with the link, and the ARGUMENTs behind it
)";

namespace {

template <typename Number>
bool parseNumber(const std::string& text, Number least, Number most, Number& result) {
    const char* const end = text.data() + text.size();
    const auto [parsed, status] = std::from_chars(text.data(), end, result);
    return parsed == end && status == std::errc() && result >= least && result <= most;
}

/// Takes an option's value; false when it is not one.
using Taker = std::function<bool(const std::string&)>;
using Takers = std::map<std::string, Taker>;

Taker textInto(std::string& target) {
    return [&target](const std::string& value) {
        target = value;
        return !value.empty();
    };
}

Taker portInto(std::uint16_t& target) {
    return [&target](const std::string& value) {
        return parseNumber<std::uint16_t>(value, 0, 65535, target);
    };
}

/// Reads options up to the end or to "--", after which `rest` begins. The error, or nothing.
std::optional<std::string> takeOptions(
    const std::vector<std::string>& arguments, const Takers& takers, std::size_t& rest) {
    for (rest = 1; rest < arguments.size(); rest += 2) {
        const std::string& name = arguments[rest];
        if (name == "--") {
            ++rest;
            return std::nullopt;
        }
        const auto taker = takers.find(name);
        if (taker == takers.end()) {
            return "unknown option '" + name + "' of " + arguments[0];
        }
        if (rest + 1 == arguments.size()) {
            return "option " + name + " needs a value";
        }
        if (!taker->second(arguments[rest + 1])) {
            return "'" + arguments[rest + 1] + "' is no value for " + name;
        }
    }
    rest = arguments.size();
    return std::nullopt;
}

CommandLine parseDemo(const std::vector<std::string>& arguments) {
    DemoOptions options;
    std::string agent;
    unsigned timeout = 30;
    const Takers takers = {{"--pdf", textInto(options.pdf)}, {"--xml", textInto(options.xml)},
        {"--out", textInto(options.out)}, {"--port", portInto(options.port)},
        {"--room", textInto(options.room)}, {"--agent", textInto(agent)},
        {"--timeout",
            [&](const std::string& value) { return parseNumber(value, 1U, 86400U, timeout); }}};
    std::size_t rest = 0;
    if (std::optional<std::string> error = takeOptions(arguments, takers, rest)) {
        return UsageError{std::move(*error)};
    }
    for (const auto& [name, value] : {std::pair("--pdf", &options.pdf),
             std::pair("--xml", &options.xml), std::pair("--out", &options.out)}) {
        if (value->empty()) {
            return UsageError{"sign-demo needs " + std::string(name)};
        }
    }
    options.timeout = std::chrono::seconds(timeout);
    options.agentArguments.assign(
        arguments.begin() + static_cast<std::ptrdiff_t>(rest), arguments.end());
    if (!agent.empty()) {
        options.agent = agent;
    } else if (!options.agentArguments.empty()) {
        return UsageError{"arguments for an agent need --agent"};
    }
    return options;
}

CommandLine parseServe(const std::vector<std::string>& arguments) {
    ServeOptions options;
    std::size_t rest = 0;
    std::optional<std::string> error = takeOptions(
        arguments, {{"--port", portInto(options.port)}, {"--room", textInto(options.room)}}, rest);
    if (!error && rest < arguments.size()) {
        error = "'" + arguments[rest] + "' is not expected";
    }
    if (error) {
        return UsageError{std::move(*error)};
    }
    return options;
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return UsageError{"a command is needed"};
    }
    const std::string& command = arguments[0];
    if (command == "sign-demo") {
        return parseDemo(arguments);
    }
    if (command == "serve") {
        return parseServe(arguments);
    }
    if (arguments.size() == 1 && (command == "--help" || command == "-h")) {
        return HelpRequest{};
    }
    if (arguments.size() == 1 && command == "--version") {
        return VersionRequest{};
    }
    return UsageError{"unknown command '" + command + "'"};
}

} // namespace devserver
