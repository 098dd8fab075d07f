// SPDX-License-Identifier: MIT
#include "platform/linux/net/WebSocketSession.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <exception>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

using boost::system::error_code;
using std::chrono::steady_clock;

/// With its head of 8 bytes a fragment fills four records of TLS.
constexpr std::size_t fragmentSize = (std::size_t{64} << 10) - 8;
constexpr std::size_t unfragmentedSize = std::size_t{256} << 10;
constexpr std::chrono::milliseconds closeWatchInterval{100};

/// The request target as one that cannot break out of the request line.
Expected<std::string> readTarget(const std::string& target) {
    for (const char c : target) {
        if (static_cast<unsigned char>(c) <= 0x20 || static_cast<unsigned char>(c) >= 0x7F) {
            return Failure{"the path " + singleLine(target) + " is not percent-encoded"};
        }
    }
    return target.starts_with('/') ? target : '/' + target;
}

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += text.empty() ? item : ", " + item;
    }
    return text;
}

std::string refusalText(const Peer& peer, const ClientStream& stream, const error_code& error) {
    const auto status = stream.responseStatus();
    if (status && *status != 101) {
        return peer.name + " refused the WebSocket: " + statusText(*status);
    }
    return networkErrorText(peer, error);
}

} // namespace

WebSocketSession::WebSocketSession(Connector& connector, std::shared_ptr<SocketChannel> channel,
    WebSocketRequest request, Limits limits, const asio::any_io_executor& io)
    : m_connector(connector)
    , m_channel(std::move(channel))
    , m_request(std::move(request))
    , m_limits(limits)
    , m_clock(steady_clock::now())
    , m_watchTimer(io)
    , m_memory([channel = std::weak_ptr(m_channel)] {
        if (const auto awake = channel.lock()) {
            awake->wakeSession();
        }
    })
    , m_memoryTimer(io)
    , m_closeTimer(io) {
}

WebSocketSession::~WebSocketSession() = default;

void WebSocketSession::start(Ended ended) {
    m_ended = std::move(ended);
    const auto self = shared_from_this();
    m_channel->setSession(self);
    asio::co_spawn(
        m_closeTimer.get_executor(), [self] { return self->connect(); },
        [self](const std::exception_ptr& exception) {
            if (exception) {
                self->end("this computer has no resources left for the connection");
            }
        });
}

asio::awaitable<void> WebSocketSession::connect() {
    const auto host = parseHostName(m_request.host);
    const auto port = parsePort(m_request.port);
    const auto target = readTarget(m_request.target);
    if (!host || !port || !target) {
        end(!host ? host.failure().text : !port ? port.failure().text : target.failure().text);
        co_return;
    }
    const Destination destination{*host, *port, m_request.secure};
    m_peer = m_connector.peerFor(destination);
    pump();
    if (m_abort.isRaised()) {
        end("the connection was closed");
        co_return;
    }
    auto stream = co_await m_connector.connect(destination, m_abort);
    if (!stream || m_abort.isRaised()) {
        end(m_abort.isRaised() ? "the connection was closed" : stream.failure().text);
        co_return;
    }
    m_stream = std::make_unique<Stream>(std::move(*stream));
    co_await shakeHands(destination, *target);
}

asio::awaitable<void> WebSocketSession::shakeHands(Destination destination, std::string target) {
    // An open connection may be idle for hours.
    m_stream->set_option(
        websocket::stream_base::timeout{m_peer.limit, websocket::stream_base::none(), false});
    m_stream->set_option(
        websocket::stream_base::decorator([this](websocket::request_type& request) {
            if (!m_connector.settings().userAgent.empty()) {
                request.set(http::field::user_agent, m_connector.settings().userAgent);
            }
            if (!m_request.subprotocols.empty()) {
                request.set(http::field::sec_websocket_protocol, joined(m_request.subprotocols));
            }
        }));
    m_stream->control_callback([this](websocket::frame_type kind, beast::string_view) {
        m_clock.received(steady_clock::now());
        if (kind == websocket::frame_type::close) {
            serverCloses();
        }
    });
    m_stream->read_message_max(0);
    m_stream->next_layer().expectUpgrade();
    m_stream->write_buffer_bytes(fragmentSize);
    const std::string host
        = destination.host.authority(destination.port, destination.secure ? 443 : 80);
    websocket::response_type response;
    error_code error;
    {
        const AbortSignal::Scope scope(m_abort, [this] { m_stream->next_layer().layer().close(); });
        co_await m_stream->async_handshake(
            response, host, target, asio::redirect_error(asio::use_awaitable, error));
    }
    if (error || m_abort.isRaised()) {
        end(m_abort.isRaised() ? "the connection was closed"
                               : refusalText(m_peer, m_stream->next_layer(), error));
        co_return;
    }
    m_phase = Phase::open;
    if (!isEnding()) {
        m_channel->deliverOpen(std::string(response[http::field::sec_websocket_protocol]));
    }
    pump();
}

bool WebSocketSession::isEnding() {
    return m_finishing || m_channel->isEnding();
}

void WebSocketSession::finish() {
    m_finishing = true;
    pump();
}

void WebSocketSession::pump() {
    const bool ending = isEnding();
    if (m_phase == Phase::connecting && ending && !m_channel->hasMessages()) {
        m_abort.raise();
    }
    if (m_phase != Phase::open || m_serverClosed) {
        return;
    }
    // While the connection ends the peer is still read from, lest it stop reading in turn and
    // never see what is sent.
    if (!m_reading && (ending || (m_channel->wantsData() && !m_memory.isFull()))) {
        readSome();
    }
    if (!m_writing) {
        if (auto message = m_channel->takeMessage()) {
            write(*std::move(message));
        } else if (ending) {
            beginClose();
        }
    }
    if (const auto timers = m_channel->takeTimers()) {
        m_clock.setTimers(*timers, steady_clock::now());
        watch();
    }
}

void WebSocketSession::readSome() {
    m_reading = true;
    m_clock.received(steady_clock::now()); // or what was not asked for could not come
    const std::span<char> space = m_memory.space();
    m_stream->async_read_some(asio::buffer(space.data(), space.size()),
        [self = shared_from_this()](
            const error_code& error, std::size_t length) { self->didRead(error, length); });
}

void WebSocketSession::didRead(const error_code& error, std::size_t length) {
    m_reading = false;
    if (m_phase == Phase::ended || m_phase == Phase::closing) {
        return; // the close goes on by itself
    }
    if (error) {
        const auto& close = m_stream->reason();
        end(m_serverClosed ? serverCloseText(close.code, {close.reason.data(), close.reason.size()})
                           : networkErrorText(m_peer, error));
        return;
    }
    if (!isEnding()) {
        const std::size_t rest = m_stream->is_message_done() ? 0 : m_stream->read_size_hint(1);
        const bool endsLarge = rest == 0 && m_memory.holdsPart();
        m_channel->deliverData(m_memory.received(length, rest));
        if (endsLarge) {
            releaseMemoryLater();
        }
    }
    pump();
}

void WebSocketSession::releaseMemoryLater() {
    m_memoryTimer.expires_after(m_limits.memory);
    m_memoryTimer.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error && self->m_phase != Phase::ended && !self->m_memory.releaseUnused()) {
            self->releaseMemoryLater(); // the program still works on a message
        }
    });
}

void WebSocketSession::write(MessagePieces message) {
    m_writing = true;
    m_output = std::move(message);
    std::vector<asio::const_buffer> buffers;
    buffers.reserve(m_output.size());
    for (const SharedText& piece : m_output) {
        buffers.push_back(asio::buffer(piece.view()));
    }
    // A large message goes out in fragments, so that pings are answered in between.
    m_stream->auto_fragment(asio::buffer_size(buffers) > unfragmentedSize);
    m_stream->text(true);
    m_stream->async_write(
        buffers, [self = shared_from_this()](const error_code& error, std::size_t) {
            self->didWrite(error);
        });
}

void WebSocketSession::didWrite(const error_code& error) {
    m_writing = false;
    m_clock.sent(steady_clock::now());
    m_output.clear();
    if (m_phase == Phase::ended) {
        return;
    }
    // The read under way knows better why the connection broke, or how the server closes it.
    const bool readTells = m_reading && (m_serverClosed || error == asio::error::operation_aborted);
    if (error && !readTells) {
        end(networkErrorText(m_peer, error));
        return;
    }
    pump();
}

/// Does what is due by the clock, and looks at it again when something may be due next.
void WebSocketSession::watch() {
    if (m_phase != Phase::open || m_serverClosed) {
        return;
    }
    const auto now = steady_clock::now();
    const auto state = [this] {
        return ConnectionClock::State{
            .reads = m_reading, .writes = m_writing, .hasUnreadData = m_channel->hasWaitingData()};
    };
    switch (m_clock.due(state(), now)) {
    case ConnectionClock::Due::nothing:
        break;
    case ConnectionClock::Due::beat:
        write({m_clock.timers().beat});
        break;
    case ConnectionClock::Due::lostBySilence:
        end(m_peer.name + " has been silent for " + durationText(m_clock.timers().silenceLimit));
        return;
    case ConnectionClock::Due::lostByDeadline:
        end(networkErrorText(
            {m_peer.name, m_peer.port, m_clock.timers().deadline}, asio::error::timed_out));
        return;
    }
    m_watchTimer.expires_at(m_clock.next(state(), now));
    m_watchTimer.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error) {
            self->watch();
        }
    });
}

/// A close frame has come. Beast answers it; the server is not waited for without end.
void WebSocketSession::serverCloses() {
    m_serverClosed = true;
    if (m_phase == Phase::open) {
        watchClosing();
    }
}

void WebSocketSession::beginClose() {
    m_phase = Phase::closing;
    watchClosing();
    m_stream->async_close(websocket::close_code::normal,
        [self = shared_from_this()](const error_code&) { self->end("the connection was closed"); });
}

/// Whether the peer still takes in what was sent to it.
bool WebSocketSession::stillSends() {
    const int before = std::exchange(
        m_unacknowledgedBytes, m_stream->next_layer().layer().unacknowledgedBytes());
    return m_unacknowledgedBytes != before;
}

/// Closes the connection when the peer has done nothing for as long as closing may take.
void WebSocketSession::watchClosing() {
    const auto now = steady_clock::now();
    if (m_closeDeadline == steady_clock::time_point() || stillSends()) {
        m_closeDeadline = now + m_limits.close;
    }
    if (now >= m_closeDeadline) {
        m_stream->next_layer().layer().close();
        return;
    }
    m_closeTimer.expires_at(std::min(m_closeDeadline, now + closeWatchInterval));
    m_closeTimer.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error && self->m_phase != Phase::ended) {
            self->watchClosing();
        }
    });
}

void WebSocketSession::end(std::string reason) {
    if (m_phase == Phase::ended) {
        return;
    }
    m_phase = Phase::ended;
    m_closeTimer.cancel();
    m_watchTimer.cancel();
    m_memoryTimer.cancel();
    if (m_stream) {
        m_stream->next_layer().layer().close();
    }
    m_channel->deliverClose(std::move(reason));
    const Ended ended = std::move(m_ended);
    ended(this);
}

} // namespace platform::linux_
