// SPDX-License-Identifier: MIT
// The two things that the program asks of a network: an HTTPS data task and a secure WebSocket.
#pragma once

#include "foundation/SharedText.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct URLResponse {
    std::string url;
    int statusCode = 0;
};

/// A failure of transport, in words that a user can act on ("name HOST could not be found").
struct TransportError {
    std::string localizedDescription;
};

/// One GET. Nothing happens before `resume`.
class URLSessionDataTask {
public:
    virtual ~URLSessionDataTask() = default;
    virtual void resume() = 0;
};

/// Called once, on the session's own queue, never on the main thread: with an error, or with data
/// and a response of any status. Redirects have been followed, to https only.
using DataTaskCompletion = std::function<void(std::optional<std::string> data,
    std::optional<URLResponse> response, std::optional<TransportError> error)>;

/// Where a WebSocket goes. `target` is the request target: percent-encoded path.
struct WebSocketRequest {
    std::string host; // name, IPv4 literal or bracketed IPv6 literal
    std::uint64_t port = 443;
    std::string target;
    bool secure = true;
    std::vector<std::string> subprotocols; // offered, in order of preference
};

/// What an open WebSocket does by itself, whatever the main thread is busy with. Zero means never.
struct WebSocketTimers {
    std::string beat
        = {}; // the text message that goes out when nothing else did for `beatInterval`
    std::chrono::milliseconds beatInterval{};
    /// The connection counts as lost when nothing has come in for so long,
    std::chrono::milliseconds silenceLimit{};
    /// and when the timers are not set anew within so long.
    std::chrono::milliseconds deadline{};
    friend bool operator==(const WebSocketTimers&, const WebSocketTimers&) = default;
};

/// The events of one WebSocket, on the main thread, one at a time, in order.
class WebSocketDelegate {
public:
    virtual ~WebSocketDelegate() = default;
    /// `subprotocol` is the one that the server picked, or empty.
    virtual void webSocketDidOpen(const std::string& subprotocol) = 0;
    /// Some bytes of a message. Messages are not told apart and may come in several pieces. Pieces
    /// of a large message may follow each other in one memory.
    virtual void webSocketDidReceiveData(OwnedText data) = 0;
    /// The last event: refused, failed, lost or closed, with the cause in words.
    virtual void webSocketDidClose(const std::string& reason) = 0;
};

/// A connection that is being made or is open. When the last reference is dropped, what was
/// handed to `send` still goes out, the connection is closed, and no event is delivered any more.
class WebSocket {
public:
    virtual ~WebSocket() = default;
    /// Queues one text message, given in pieces. Never blocks; no effect after the close. While too
    /// much waits to be sent, nothing is received.
    virtual void send(std::vector<SharedText> pieces) = 0;
    /// Replaces the timers, which count from now.
    virtual void setTimers(WebSocketTimers timers) = 0;
    /// Closes after what was queued before has gone out.
    virtual void close() = 0;
};

class Network {
public:
    virtual ~Network() = default;

    /// `url` is an absolute https URL.
    virtual std::unique_ptr<URLSessionDataTask> dataTaskWithURL(
        const std::string& url, DataTaskCompletion completion)
        = 0;

    /// Starts to connect and returns at once. The delegate is not kept alive.
    virtual std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate)
        = 0;

    /// Blocks until all that was handed to any `send` has gone out and the connections are
    /// closed, for `limit` at most. No event is delivered afterwards. From any thread but the
    /// network's own.
    virtual void flush(std::chrono::milliseconds limit) = 0;
};

} // namespace platform
