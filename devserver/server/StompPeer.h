// SPDX-License-Identifier: MIT
// The server's side of STOMP on one connection, without the connection: bytes in, frames out.
// Source: STOMP 1.2 ("Connecting", "Client Frames", "ERROR").
#pragma once

#include "devserver/server/AgentSession.h"
#include "devserver/server/ServerState.h"
#include "frameworks/CRVStompClient/StompFrame.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// Used on the server's thread.
class StompPeer {
public:
    StompPeer(std::shared_ptr<ServerState> server, std::string room, RecordedRequest upgrade);

    /// The transport holds the peer; the session holds the transport until `ended`.
    void attach(std::shared_ptr<Transport> transport);
    /// Bytes of the agent, cut anywhere.
    void receive(std::string_view bytes);
    void ended(CloseInfo info);
    /// The time in which the agent had to subscribe to its room is over.
    void subscribeLimitReached();

private:
    void handle(stomp::Frame frame);
    void connect(stomp::Frame frame);
    void subscribe(stomp::Frame frame);
    void dispatch(stomp::Frame frame);
    /// ERROR, then the end of the connection.
    void fail(const std::string& message);
    void send(stomp::Frame frame);

    std::shared_ptr<ServerState> m_server;
    std::shared_ptr<AgentSession> m_session;
    stomp::FrameDecoder m_decoder;
    int m_subscriptions = 0;
    bool m_isConnected = false;
    bool m_isAnnounced = false;
    bool m_isEnding = false;
};

} // namespace devserver
