// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// One WebSocket as a platform makes it that sends and receives whole messages. Used on one queue
/// alone. The handlers that it is given are called later, from any thread; the first call of each
/// counts, and a lost connection may leave some without any. An error is told in words.
class MessageTask {
public:
    using Sent = std::function<void(std::optional<std::string> error)>;
    /// Without a message the connection has ended, by the error if there is one.
    using Received
        = std::function<void(std::optional<std::string> message, std::optional<std::string> error)>;

    virtual ~MessageTask() = default;

    /// Starts to connect.
    virtual void resume() = 0;
    /// Sends a text message after those before it. Also before the connection is open.
    virtual void send(std::string text, Sent sent) = 0;
    /// Takes in the next message.
    virtual void receive(Received received) = 0;
    /// The bytes that have come in so far, parts of messages included; 0 where nobody counts.
    virtual std::int64_t countOfBytesReceived() = 0;
    /// Closes with status 1000 (RFC 6455, section 7.4.1). The end is told as any other.
    virtual void cancel() = 0;
    /// Drops the connection and all that it keeps alive. The last call.
    virtual void invalidate() = 0;
};

/// What such a WebSocket tells by itself, from any thread.
class MessageTaskDelegate {
public:
    virtual ~MessageTaskDelegate() = default;
    /// `subprotocol` is the one that the server picked, or empty.
    virtual void taskDidOpen(const std::string& subprotocol) = 0;
    /// Refused, failed or lost, with the cause in words; without one it was closed.
    virtual void taskDidEnd(const std::optional<std::string>& error) = 0;
};

} // namespace platform
