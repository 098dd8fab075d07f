// SPDX-License-Identifier: MIT
// One agent's session in a room, as a test or a program scripts it.
#pragma once

#include "devserver/server/ServerOptions.h"
#include "devserver/server/Transport.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/value.hpp>

namespace devserver {

/// A SEND of the agent. `envelope` is JSON null when the text is not JSON.
struct AgentMessage {
    std::string destination;
    stomp::Headers headers;
    std::string text;
    boost::json::value envelope;

    /// The envelope's "command", or empty.
    std::string command() const;
    /// The value under a key of the envelope, or null.
    const boost::json::value* find(std::string_view key) const;
};

/// Used from any thread. What waits, waits `timeout` at most and then returns nothing; so it does
/// at once when the connection has ended. What sends only queues, and is false after the end.
class AgentSession {
public:
    using Timeout = std::chrono::milliseconds;

    AgentSession(std::string room, RecordedRequest upgrade);

    const std::string& room() const { return m_room; }
    /// The WebSocket's upgrade request.
    const RecordedRequest& upgradeRequest() const { return m_upgrade; }
    stomp::Frame connectFrame() const;
    stomp::Version version() const;
    std::vector<stomp::Frame> subscribeFrames() const;

    /// Posts an envelope into the room; an absent part is left out of it.
    bool sendCommand(std::string_view command,
        const std::optional<boost::json::value>& payload = std::nullopt,
        const std::optional<boost::json::value>& requestId = std::nullopt);
    /// Posts any body into the room. False also when the agent has unsubscribed from it.
    bool sendEnvelope(std::string body);
    /// Sends any frame, each in a WebSocket message of its own. A content-length is added where a
    /// body is. False also when the version cannot express the headers.
    bool sendFrame(stomp::Frame frame);
    /// Sends several frames in one WebSocket message.
    bool sendTogether(std::vector<stomp::Frame> frames);
    /// Sends any bytes, each entry as a WebSocket message.
    bool sendRaw(std::vector<std::string> messages, MessageKind kind = MessageKind::text);

    /// The MESSAGE frame of the agent's subscription with that body and the next message-id.
    stomp::Frame messageFrame(std::string body);

    /// The next message of the agent, in order. Those received before the end are still returned.
    std::optional<AgentMessage> receive(Timeout timeout);
    /// The same as the SEND frame it was, not parsed.
    std::optional<stomp::Frame> receiveFrame(Timeout timeout);

    /// Waits until so many heart-beats of the agent have come in all.
    bool waitForBeats(int count, Timeout timeout);

    bool isOpen() const;
    std::optional<CloseInfo> waitForClose(Timeout timeout);
    /// WebSocket's closing handshake, after what was sent before.
    void close(std::uint16_t code = 1000);
    /// A TCP reset, at once.
    void closeAbruptly();

private:
    friend class StompPeer;

    // The connection's side, called on the server's thread.
    void attach(std::shared_ptr<Transport> transport);
    void connected(stomp::Frame frame, stomp::Version version);
    void subscribed(stomp::Frame frame, bool isRoom);
    void unsubscribed(const std::string& id);
    /// False when it and what waits to be received already would pass `limit` bytes.
    bool deliver(stomp::Frame frame, std::size_t limit);
    void beat();
    void ended(CloseInfo info);

    bool isSubscribed() const;
    bool sendPieces(std::vector<std::string> pieces, MessageKind kind);

    const std::string m_room;
    const RecordedRequest m_upgrade;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<Transport> m_transport; // null after the end
    stomp::Frame m_connectFrame;
    stomp::Version m_version = stomp::Version::v1_0;
    std::vector<stomp::Frame> m_subscribeFrames;
    bool m_isSubscribed = false;
    std::string m_subscriptionId;
    std::string m_destination;
    std::uint64_t m_lastMessageId = 0;
    std::deque<stomp::Frame> m_inbox;
    std::size_t m_inboxSize = 0; // bytes
    int m_beats = 0;
    std::optional<CloseInfo> m_end;
};

/// The pieces of one frame on the wire, the body moved into them; nothing when `version` cannot
/// express the headers. A content-length is added where a body is.
std::optional<std::vector<std::string>> framePieces(stomp::Frame frame, stomp::Version version);

} // namespace devserver
