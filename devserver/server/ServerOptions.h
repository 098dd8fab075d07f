// SPDX-License-Identifier: MIT
// What a server is told at start, and the small values that it hands out.
#pragma once

#include "devserver/crypto/CertificateAuthority.h"
#include "frameworks/CRVStompClient/StompFrame.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace devserver {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct ServerOptions {
    std::uint16_t port = 0; // 0: a free one
    std::string latestVersion = "1.0.0"; // of the agent, told by the version endpoint
    std::string downloadUrl = "https://example.org/quillet"; // told by the bundle endpoint
    CertificateOptions certificates = {};
    std::string authorityFolder = {}; // keeps the authority; empty: a new one at each start
    std::vector<stomp::Version> versions
        = {stomp::Version::v1_2, stomp::Version::v1_1, stomp::Version::v1_0};
    std::chrono::milliseconds subscribeLimit = std::chrono::seconds(10); // from the upgrade on
    std::size_t inboxLimit = std::size_t{512} << 20; // bytes of an agent that wait to be received
    std::string heartBeat = "0,0"; // announced in CONNECTED; none is ever sent by the server itself
};

/// The REST endpoints of the update check.
enum class Endpoint { version, bundle };

/// A complete HTTP answer.
struct HttpAnswer {
    unsigned status = 200;
    std::string body = {};
    HttpHeaders headers = {{"Content-Type", "application/json"}};
};

/// An answer that the agent and the page understand as an error: {"status", "message"}.
HttpAnswer errorAnswer(unsigned status, std::string_view message);

/// A request as it came in, a WebSocket's upgrade included.
struct RecordedRequest {
    std::string method;
    std::string target; // raw
    HttpHeaders headers;

    /// The value of the first header of that name in any case, or null.
    const std::string* header(std::string_view name) const;
};

/// How a connection ended.
struct CloseInfo {
    bool handshake = false; // WebSocket's closing handshake was done (RFC 6455, 7.1.2)
    std::uint16_t code = 0; // the peer's close code; 0 without one
    std::string reason; // the peer's reason, or the error in words
};

} // namespace devserver
