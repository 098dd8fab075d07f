// SPDX-License-Identifier: MIT
// A minimal client of the server under test, over real sockets and TLS. Each wait is bounded.
#pragma once

#include "devserver/server/Server.h"
#include "frameworks/CRVStompClient/StompFrame.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace devserver::test {

using namespace std::chrono_literals;

inline constexpr std::chrono::milliseconds patience = 20s;

struct HttpReply {
    unsigned status = 0; // 0: `error` says why there is none
    std::string body;
    std::string location;
    std::string error;
};

/// One GET (or another method) that trusts the server's authority and checks `host`.
HttpReply request(const Server& server, const std::string& target,
    const std::string& host = "127.0.0.1", const std::string& method = "GET");

class TestClient {
public:
    TestClient();
    ~TestClient();

    /// The WebSocket's upgrade; false, and the cause in `error`, when it is refused. Then `status`
    /// is the answer's.
    bool open(
        const Server& server, const std::string& target, const std::string& subprotocols = "");
    /// The same to a server in another process.
    bool open(std::uint16_t port, const std::string& authorityPem, const std::string& target,
        const std::string& subprotocols = "");
    /// Opens, connects and subscribes as an agent does.
    bool join(const Server& server, const std::string& room);
    bool join(std::uint16_t port, const std::string& authorityPem, const std::string& room);

    bool sendText(std::string message);
    bool send(const stomp::Frame& frame, stomp::Version version = stomp::Version::v1_2);
    bool sendEnvelope(const std::string& room, std::string body);

    std::optional<stomp::Frame> receive(std::chrono::milliseconds timeout = patience);
    /// The number of WebSocket messages received so far.
    std::size_t messageCount() const;

    bool close();
    /// Waits for the connection's end; the close code, or 0 when there was no closing handshake.
    std::optional<unsigned> waitForClose(std::chrono::milliseconds timeout = patience);
    /// Drops the TCP connection.
    void drop();

    std::string error;
    unsigned status = 0;
    std::string subprotocol;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// A SUBSCRIBE of the room's topic as an agent sends it.
stomp::Frame subscription(const std::string& room);

} // namespace devserver::test
