// SPDX-License-Identifier: MIT
// A whole run of the agent as the world around it: keychain, link, the server's answers and frames.
// It is made with its meaning, so that the model need not read what the program reads.
#pragma once

#include "tests/differential/Json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace differential {

struct Identity {
    std::string name; // of its references; no two are the same
    std::string der;
    std::optional<std::string> commonName;
    std::optional<std::vector<std::string>> issuer, subject;
    std::optional<std::string> serial; // readable as UTF-8
    bool hasValues = true;
    bool hasKey = true;
    bool fails = false; // its key cannot be copied
    bool hasOldDataKey = false; // bytes under "certdata"
};

struct Link {
    std::string text;
    bool isAccepted = true; // by the parser
    std::string host, encodedHost;
    std::uint64_t port = 443;
    std::string path, encodedPath;
    std::string room, encodedRoom;
};

/// A REST answer.
struct Answer {
    enum class Kind { json, notJson, lost };
    Kind kind = Kind::json;
    Json json;
    std::string body; // or the transport's error
};

/// One frame from the server, or what stands between frames.
struct ServerFrame {
    enum class Kind { message, error, receipt, unknown, beat };
    /// What the body of a message is.
    enum class Body { envelope, otherJson, notJson, notUtf8 };
    Kind kind = Kind::message;
    std::string wire;
    std::string body;
    Body bodyKind = Body::envelope;
    Json envelope;
    std::optional<std::string> errorMessage;
    std::string command; // of an unknown frame
};

struct Scenario {
    std::uint64_t seed = 0;
    std::vector<Identity> identities;
    bool keychainOpens = true;
    bool queryFails = false;
    bool algorithmSupported = true;
    std::optional<std::string> signature;
    std::optional<std::string> signatureError;
    bool linkIsArgument = false;
    Link link;
    std::vector<unsigned> latest; // version numbers
    Answer versionAnswer, bundleAnswer;
    bool acceptsUpgrade = false;
    bool webSocketOpens = true;
    bool isGreeted = true; // CONNECTED comes first
    std::string stompVersion; // empty: none named
    std::vector<ServerFrame> frames;
    std::vector<std::size_t> cuts; // lengths of the pieces in which the frames arrive, repeated
};

inline const std::vector<unsigned> installedVersion{1, 9};
std::string versionText(const std::vector<unsigned>& numbers);

/// The request that leads to `versionAnswer` or `bundleAnswer`.
std::string versionUrl(const Scenario& scenario);
std::string bundleUrl(const Scenario& scenario);

/// What the server knows a certificate by.
std::string digestOf(const Identity& identity);

Scenario makeScenario(std::uint64_t seed);

} // namespace differential
