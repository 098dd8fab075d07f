// SPDX-License-Identifier: MIT
#include "devserver/program/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <functional>
#include <map>

namespace devserver {

const char* const usageText =
    R"(usage: quillet-devserver [--port N] [--open] [--authority DIR]
       quillet-devserver sign (--pdf FILE | --xml FILE) --out FILE ... --certificate DIGEST|first
                              [--port N] [--room ID] [--timeout SECONDS] [--authority DIR]
                              [--send-document] [--log FILE] [--repair] [--password FILE|-]
                              [--reason TEXT] [--location TEXT] [--id-attribute NAME]
                              [--signature-at first|last|after=NAME]
                              [--agent PROGRAM [-- ARGUMENT...]]
       quillet-devserver (trust | untrust) [--yes] [--authority DIR]
       quillet-devserver --help | --version

A signing server on this machine, for those who integrate the signing agent.

Without a command it serves a web page that signs documents and shows every message, until it is
ended. "sign" waits for an agent, has the files signed in one session, and ends with status 0 only
if all of them were. "trust" puts the server's certificate authority where the agent, Chromium and
Firefox find it, after it has said how and asked; "untrust" takes it away again.

  --port N              the port to listen on (default: 8443; for "sign" a free one)
  --open                opens the page in the browser
  --authority DIR       keeps the certificate authority there
                        (default: quillet-devserver in the user's data folder)
  --pdf FILE, --xml FILE, --out FILE
                        a document, and where the signed one goes; may be repeated
  --certificate DIGEST  which certificate is to sign; "first" is the first that the agent lists
  --room ID             the room of the link (default: a random one)
  --timeout SECONDS     how long each step may take (default: 120)
  --send-document       sends the PDF to the agent too, and expects it back
  --log FILE            the messages, with long values cut
  --repair              has a damaged PDF written anew before it is signed, as far as it can be
                        made out; look at the result. One that is signed is never written anew
  --password FILE|-     opens encrypted PDFs with the first line of FILE, or asks at the terminal
  --reason TEXT, --location TEXT
                        stand in the signatures of PDFs
  --id-attribute NAME   signs the root of XML documents by its identifier in this attribute
  --signature-at WHERE  where XML signatures go: the root's first or last child (default: last), or
                        behind its child NAME
  --agent PROGRAM       starts PROGRAM with the link, and the ARGUMENTs behind it; in a terminal it
                        may ask there for a password
  --yes                 asks no question
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

/// Begins a task; false when the one before has no --out yet.
Taker taskInto(std::vector<SigningTask>& tasks, DocumentKind kind) {
    return [&tasks, kind](const std::string& value) {
        const bool isPossible = tasks.empty() || !tasks.back().out.empty();
        tasks.push_back({kind, value, ""});
        return isPossible && !value.empty();
    };
}

Taker outInto(std::vector<SigningTask>& tasks) {
    return [&tasks](const std::string& value) {
        const bool isPossible = !tasks.empty() && tasks.back().out.empty() && !value.empty();
        if (isPossible) {
            tasks.back().out = value;
        }
        return isPossible;
    };
}

Taker placeInto(XmlOptions& target) {
    return [&target](const std::string& value) {
        constexpr std::string_view after = "after=";
        target.isFirst = value == "first";
        target.after = value.starts_with(after) ? value.substr(after.size()) : "";
        return target.isFirst || value == "last" || !target.after.empty();
    };
}

/// Reads options from `rest` up to the end or to "--", behind which `rest` is then. The error, or
/// nothing.
std::optional<std::string> takeOptions(
    const std::vector<std::string>& arguments, const Takers& takers, std::size_t& rest) {
    for (; rest < arguments.size(); rest += 2) {
        const std::string& name = arguments[rest];
        if (name == "--") {
            ++rest;
            return std::nullopt;
        }
        const auto taker = takers.find(name);
        if (taker == takers.end()) {
            return "unknown option '" + name + "'";
        }
        if (rest + 1 == arguments.size()) {
            return "option " + name + " needs a value";
        }
        if (!taker->second(arguments[rest + 1])) {
            return "'" + arguments[rest + 1] + "' cannot stand here for " + name;
        }
    }
    return std::nullopt;
}

/// Reads options from `rest` up to the end, where nothing else may stand.
std::optional<std::string> takeOnlyOptions(
    const std::vector<std::string>& arguments, const Takers& takers, std::size_t rest) {
    std::optional<std::string> error = takeOptions(arguments, takers, rest);
    if (!error && rest < arguments.size()) {
        error = "'" + arguments[rest] + "' is not expected";
    }
    return error;
}

CommandLine parseSign(std::vector<std::string> arguments) {
    SignOptions options;
    const auto own = std::find(arguments.begin(), arguments.end(), "--"); // the rest is the agent's
    const std::vector<std::string> before(arguments.begin(), own);
    const auto flag = [&](const char* name) {
        return std::find(before.begin(), before.end(), name) != before.end();
    };
    options.sendDocuments = flag("--send-document");
    options.repair = flag("--repair");
    arguments.erase(std::remove_if(arguments.begin(), own,
                        [](const std::string& argument) {
                            return argument == "--send-document" || argument == "--repair";
                        }),
        own);
    std::string agent;
    unsigned timeout = 120;
    const Takers takers = {{"--pdf", taskInto(options.tasks, DocumentKind::pdf)},
        {"--xml", taskInto(options.tasks, DocumentKind::xml)}, {"--out", outInto(options.tasks)},
        {"--certificate", textInto(options.certificate)}, {"--port", portInto(options.port)},
        {"--room", textInto(options.room)}, {"--authority", textInto(options.authorityFolder)},
        {"--log", textInto(options.log)}, {"--agent", textInto(agent)},
        {"--password", textInto(options.passwordFile)}, {"--reason", textInto(options.pdf.reason)},
        {"--location", textInto(options.pdf.location)},
        {"--id-attribute", textInto(options.xml.idAttribute)},
        {"--signature-at", placeInto(options.xml)},
        {"--timeout",
            [&](const std::string& value) { return parseNumber(value, 1U, 86400U, timeout); }}};
    std::size_t rest = 1;
    if (std::optional<std::string> error = takeOptions(arguments, takers, rest)) {
        return UsageError{std::move(*error)};
    }
    if (options.tasks.empty()) {
        return UsageError{"sign needs --pdf or --xml"};
    }
    if (options.tasks.back().out.empty()) {
        return UsageError{"'" + options.tasks.back().in + "' needs --out"};
    }
    if (options.certificate.empty()) {
        return UsageError{"sign needs --certificate"};
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

CommandLine parseServe(std::vector<std::string> arguments) {
    ServeOptions options;
    options.open = std::erase(arguments, "--open") > 0;
    const Takers takers
        = {{"--port", portInto(options.port)}, {"--authority", textInto(options.authorityFolder)}};
    if (std::optional<std::string> error = takeOnlyOptions(arguments, takers, 0)) {
        return UsageError{std::move(*error)};
    }
    return options;
}

CommandLine parseTrust(std::vector<std::string> arguments) {
    TrustOptions options;
    options.isTrusted = arguments[0] == "trust";
    options.isConfirmed = std::erase(arguments, "--yes") > 0;
    const Takers takers = {{"--authority", textInto(options.authorityFolder)}};
    if (std::optional<std::string> error = takeOnlyOptions(arguments, takers, 1)) {
        return UsageError{std::move(*error)};
    }
    return options;
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    if (command == "sign") {
        return parseSign(arguments);
    }
    if (command == "trust" || command == "untrust") {
        return parseTrust(arguments);
    }
    if (arguments.size() == 1 && (command == "--help" || command == "-h")) {
        return HelpRequest{};
    }
    if (arguments.size() == 1 && command == "--version") {
        return VersionRequest{};
    }
    if (!command.empty() && !command.starts_with("-")) {
        return UsageError{"unknown command '" + command + "'"};
    }
    return parseServe(arguments);
}

} // namespace devserver
