// SPDX-License-Identifier: MIT
// The connection behind one WebSocket (RFC 6455), from name lookup to close.
#pragma once

#include "platform/Network.h"
#include "platform/linux/net/Connector.h"
#include "platform/linux/net/ReceiveMemory.h"
#include "platform/linux/net/SocketChannel.h"
#include "platform/shared/ConnectionClock.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/websocket/stream_fwd.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform::linux_ {

/// Lives on the network's thread. Whoever starts it keeps it until it says that it has ended.
class WebSocketSession : public std::enable_shared_from_this<WebSocketSession> {
public:
    struct Limits {
        /// How long the closing of a connection waits for a peer that does nothing any more.
        std::chrono::milliseconds close;
        /// How long the memory of a large message is kept for the next one.
        std::chrono::milliseconds memory;
    };
    using Ended = std::function<void(WebSocketSession*)>;

    WebSocketSession(Connector& connector, std::shared_ptr<SocketChannel> channel,
        WebSocketRequest request, Limits limits, const boost::asio::any_io_executor& io);
    ~WebSocketSession();

    /// Connects and serves the channel; `ended` is called once, last.
    void start(Ended ended);
    /// Does what the state of the channel calls for. After each change of it.
    void pump();
    /// Sends what the channel holds, then closes; meanwhile what comes in is discarded.
    void finish();

private:
    using Stream = boost::beast::websocket::stream<ClientStream, false>;
    using ErrorCode = boost::system::error_code;
    enum class Phase { connecting, open, closing, ended };

    boost::asio::awaitable<void> connect();
    boost::asio::awaitable<void> shakeHands(Destination destination, std::string target);
    bool isEnding();
    void readSome();
    void didRead(const ErrorCode& error, std::size_t length);
    void releaseMemoryLater();
    void write(MessagePieces message);
    void didWrite(const ErrorCode& error);
    void watch();
    void serverCloses();
    void beginClose();
    void watchClosing();
    bool stillSends();
    void end(std::string reason);

    Connector& m_connector;
    const std::shared_ptr<SocketChannel> m_channel;
    const WebSocketRequest m_request;
    const Limits m_limits;
    Ended m_ended;
    Phase m_phase = Phase::connecting;
    Peer m_peer;
    AbortSignal m_abort;
    std::unique_ptr<Stream> m_stream; // from the handshake on

    ConnectionClock m_clock;
    boost::asio::steady_timer m_watchTimer;
    bool m_finishing = false;
    bool m_reading = false;
    bool m_writing = false;
    bool m_serverClosed = false;
    ReceiveMemory m_memory; // read into
    boost::asio::steady_timer m_memoryTimer;
    MessagePieces m_output; // being written
    boost::asio::steady_timer m_closeTimer;
    std::chrono::steady_clock::time_point m_closeDeadline;
    int m_unacknowledgedBytes = 0; // when closing was last watched
};

} // namespace platform::linux_
