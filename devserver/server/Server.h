// SPDX-License-Identifier: MIT
// A signing server on loopback: the REST endpoints of the update check, and rooms that agents
// join by STOMP over secure WebSocket. Everything may be called from any thread.
#pragma once

#include "devserver/server/AgentSession.h"
#include "devserver/server/ServerOptions.h"
#include "devserver/server/WebHandler.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace devserver {

class Server {
public:
    explicit Server(ServerOptions options = {});
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// Makes the certificates and listens on 127.0.0.1, and on ::1 where there is one. Nothing on
    /// success, else the reason in words. Once.
    std::optional<std::string> start();
    /// Drops every connection and ends all waiting. Sessions stay usable, as ended ones.
    void stop();

    std::uint16_t port() const;
    /// What a browser opens to start the agent. `path` is the prefix of the endpoints, with its
    /// leading slash; room and path are not percent-encoded.
    std::string link(const std::string& room, const std::string& path = "",
        const std::string& host = "localhost") const;
    /// The certificate that an agent has to trust.
    const std::string& authorityPem() const;
    bool writeAuthority(const std::string& path) const;

    /// Every request since the start, in order, WebSocket upgrades included.
    std::vector<RecordedRequest> requests() const;
    /// Answers every request of an endpoint; nothing brings the usual answers back.
    void setAnswer(Endpoint endpoint, std::optional<HttpAnswer> answer);
    /// Answers every WebSocket upgrade instead of accepting it; nothing accepts them again.
    void refuseWebSockets(std::optional<HttpAnswer> answer);

    /// Has `handler` answer what is not for the update check.
    void setWebHandler(std::shared_ptr<WebHandler> handler);

    /// The next agent that has subscribed to `room`, each once; null when the time is over.
    std::shared_ptr<AgentSession> waitForAgent(
        const std::string& room, std::chrono::milliseconds timeout);
    /// The same for any room.
    std::shared_ptr<AgentSession> waitForAnyAgent(std::chrono::milliseconds timeout);

private:
    struct Network;

    std::shared_ptr<class ServerState> m_state;
    std::optional<CertificateAuthority> m_authority;
    std::unique_ptr<Network> m_network;
    std::uint16_t m_port = 0;
};

} // namespace devserver
