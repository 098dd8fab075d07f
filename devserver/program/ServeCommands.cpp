// SPDX-License-Identifier: MIT
#include "devserver/program/ServeCommands.h"

#include "devserver/Envelope.h"
#include "devserver/program/Files.h"

#include <map>
#include <string_view>

namespace devserver {

namespace {

constexpr const char* algorithm = "SHA256withRSA";

constexpr const char* helpText = R"(commands, sent to the agent that joined last:
  greet                 SERVER_CONNECT, once more
  diagnostics           GET_DIAGNOSTICS
  certificates          LIST_CERTIFICATES
  sign-pdf DIGEST FILE  SIGN_PDF with the certificate of that digest
  sign-xml DIGEST FILE  SIGN_XML; FILE is a canonical SignedInfo block
  terminate             TERMINATE_CLIENT
  disconnect            SERVER_DISCONNECT
  send TEXT             TEXT as the body of a message, whatever it is
others:
  help, quit)";

const std::map<std::string_view, std::string_view> plainCommands = {{"greet", "SERVER_CONNECT"},
    {"diagnostics", "GET_DIAGNOSTICS"}, {"certificates", "LIST_CERTIFICATES"},
    {"terminate", "TERMINATE_CLIENT"}, {"disconnect", "SERVER_DISCONNECT"}};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) {
        return {};
    }
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

/// The first word, which is taken off the text.
std::string_view takeWord(std::string_view& text) {
    const std::size_t end = text.find_first_of(" \t");
    const std::string_view word = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : trimmed(text.substr(end));
    return word;
}

ServeCommand signCommand(
    std::string_view name, std::string_view arguments, const std::string& requestId) {
    const std::string digest(takeWord(arguments));
    const std::string path(arguments); // blanks within it are part of the name
    if (path.empty()) {
        return Reply{std::string(name) + " needs a certificate's digest and a file"};
    }
    std::string error;
    const std::optional<std::string> bytes = readFile(path, error);
    if (!bytes) {
        return Reply{error};
    }
    const bool isPdf = name == "sign-pdf";
    const boost::json::object payload = isPdf ? signPdfPayload(digest, *bytes, bytes, algorithm)
                                              : signXmlPayload(digest, *bytes, algorithm);
    return PostCommand{
        envelopeText(isPdf ? "SIGN_PDF" : "SIGN_XML", payload, boost::json::value(requestId))};
}

} // namespace

ServeCommand parseServeCommand(const std::string& line, const std::string& requestId) {
    std::string_view rest = trimmed(line);
    const std::string_view name = takeWord(rest);
    if (name == "sign-pdf" || name == "sign-xml") {
        return signCommand(name, rest, requestId);
    }
    if (name == "send") {
        return PostCommand{std::string(rest)};
    }
    if (!rest.empty()) {
        return Reply{"\"" + std::string(name) + "\" takes no arguments"};
    }
    if (const auto plain = plainCommands.find(name); plain != plainCommands.end()) {
        return PostCommand{envelopeText(plain->second, std::nullopt, std::nullopt)};
    }
    if (name == "quit") {
        return QuitCommand{};
    }
    if (name == "help") {
        return Reply{helpText};
    }
    return Reply{name.empty() ? "" : "unknown command \"" + std::string(name) + "\"; try help"};
}

} // namespace devserver
