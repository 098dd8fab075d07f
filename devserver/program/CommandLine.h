// SPDX-License-Identifier: MIT
// The program's command line.
#pragma once

#include "devserver/session/DocumentSigning.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devserver {

struct HelpRequest { };
struct VersionRequest { };

/// A file to be signed, and where the signed one goes.
struct SigningTask {
    DocumentKind kind = DocumentKind::pdf;
    std::string in;
    std::string out;
};

struct SignOptions {
    std::vector<SigningTask> tasks;
    std::string certificate; // a digest, or "first"
    std::uint16_t port = 0;
    std::string room; // empty: a random one
    std::chrono::seconds timeout{120}; // of each step
    std::string authorityFolder; // empty: the user's
    bool sendDocuments = false; // to the agent too
    bool repair = false; // damaged PDFs, by writing them anew first
    std::string passwordFile; // of encrypted PDFs; "-" asks at the terminal
    PdfOptions pdf; // but for the password
    XmlOptions xml;
    std::string log; // a file for the messages; empty: none
    std::optional<std::string> agent; // a program to start
    std::vector<std::string> agentArguments; // after the link
};

struct ServeOptions {
    std::uint16_t port = 8443;
    bool open = false; // the page, in the browser
    std::string authorityFolder; // empty: the user's
};

struct TrustOptions {
    bool isTrusted = true; // else no longer
    bool isConfirmed = false; // asks no question
    std::string authorityFolder; // empty: the user's
};

struct UsageError {
    std::string reason;
};

using CommandLine = std::variant<HelpRequest, VersionRequest, SignOptions, ServeOptions,
    TrustOptions, UsageError>;

/// `arguments` without the program's own name.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

extern const char* const usageText;

} // namespace devserver
