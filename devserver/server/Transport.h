// SPDX-License-Identifier: MIT
// What a session needs of its connection. Every call may come from any thread and never blocks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace devserver {

enum class MessageKind { text, binary };

/// One WebSocket message in pieces, which go out one after the other without being joined.
struct OutgoingMessage {
    std::vector<std::string> pieces;
    MessageKind kind = MessageKind::text;
};

class Transport {
public:
    virtual ~Transport() = default;
    virtual void send(OutgoingMessage message) = 0;
    /// Starts WebSocket's closing handshake after what was handed to `send`.
    virtual void close(std::uint16_t code) = 0;
    /// Resets the TCP connection at once; what has not gone out is lost.
    virtual void reset() = 0;
};

} // namespace devserver
