// SPDX-License-Identifier: MIT
#include "devserver/server/Connection.h"
#include "devserver/server/StompPeer.h"

#include <algorithm>
#include <array>
#include <deque>
#include <variant>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace devserver {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace {

constexpr std::size_t chunkSize = std::size_t{64} << 10;

/// The newest of our subprotocols among those offered, or empty.
std::string_view pickedSubprotocol(const HttpRequest& request) {
    const auto offered = request.equal_range(beast::http::field::sec_websocket_protocol);
    for (const std::string_view ours : {"v12.stomp", "v11.stomp", "v10.stomp"}) {
        for (auto field = offered.first; field != offered.second; ++field) {
            if (beast::http::token_list(field->value()).exists(ours)) {
                return ours;
            }
        }
    }
    return {};
}

class WebSocketConnection final : public Transport,
                                  public Connection,
                                  public std::enable_shared_from_this<WebSocketConnection> {
public:
    WebSocketConnection(ByteStream stream, HttpRequest request, RecordedRequest record,
        std::string room, std::shared_ptr<ServerState> server)
        : m_socket(std::move(stream))
        , m_executor(m_socket.get_executor())
        , m_request(std::move(request))
        , m_subscribeTimer(m_executor, server->options().subscribeLimit)
        , m_peer(std::move(server), std::move(room), std::move(record)) { }

    void start() {
        m_peer.attach(shared_from_this());
        m_subscribeTimer.async_wait([self = shared_from_this()](error_code error) {
            if (!error && !self->m_isOpen) {
                self->abort();
            } else if (!error) {
                self->m_peer.subscribeLimitReached();
            }
        });
        configure();
        m_socket.async_accept(m_request, [self = shared_from_this()](error_code error) {
            if (error) {
                self->end(error);
            } else {
                self->m_isOpen = true;
                self->readSome();
            }
        });
    }

    // Transport, from any thread. While the session calls it, the server's thread still runs.

    void send(OutgoingMessage message) override { post(std::move(message)); }
    void close(std::uint16_t code) override { post(code); }
    void reset() override {
        asio::post(m_executor, [self = shared_from_this()] {
            self->m_socket.next_layer().reset();
            self->abort();
        });
    }

    // Connection

    void abort() override { end(asio::error::operation_aborted); }

private:
    using Work = std::variant<OutgoingMessage, std::uint16_t>;

    void configure() {
        m_socket.next_layer().waitForever(); // the WebSocket's own limits count from here
        websocket::stream_base::timeout limits
            = websocket::stream_base::timeout::suggested(beast::role_type::server);
        limits.idle_timeout = websocket::stream_base::none(); // an agent may think for long
        m_socket.set_option(limits);
        m_socket.read_message_max(0); // the frame decoder has limits of its own
        m_socket.auto_fragment(false);
        const std::string subprotocol(pickedSubprotocol(m_request));
        m_socket.set_option(
            websocket::stream_base::decorator([subprotocol](websocket::response_type& response) {
                response.set(
                    beast::http::field::server, "quillet-devserver/" QUILLET_DEVSERVER_VERSION);
                if (!subprotocol.empty()) {
                    response.set(beast::http::field::sec_websocket_protocol, subprotocol);
                }
            }));
    }

    void readSome() {
        m_socket.async_read_some(asio::buffer(m_chunk),
            [self = shared_from_this()](error_code error, std::size_t length) {
                if (length > 0 && !self->m_ended) {
                    self->m_peer.receive({self->m_chunk.data(), length});
                }
                if (error) {
                    self->end(error);
                } else {
                    self->readSome();
                }
            });
    }

    void post(Work work) {
        asio::post(m_executor, [self = shared_from_this(), work = std::move(work)]() mutable {
            self->m_queue.push_back(std::move(work));
            if (!self->m_isWriting) {
                self->writeNext();
            }
        });
    }

    void writeNext() {
        if (m_queue.empty() || m_ended) {
            return;
        }
        m_isWriting = true;
        m_current = std::move(m_queue.front());
        m_queue.pop_front();
        if (const auto* code = std::get_if<std::uint16_t>(&m_current)) {
            m_socket.async_close(websocket::close_reason(*code),
                [self = shared_from_this()](error_code error) { self->closed(error); });
            return;
        }
        const OutgoingMessage& message = std::get<OutgoingMessage>(m_current);
        std::vector<asio::const_buffer> buffers;
        for (const std::string& piece : message.pieces) {
            buffers.emplace_back(asio::buffer(piece));
        }
        m_socket.text(message.kind == MessageKind::text);
        m_socket.async_write(
            buffers, [self = shared_from_this()](error_code, std::size_t) { self->written(); });
    }

    /// What failed is told by the read that is always under way.
    void written() {
        m_isWriting = false;
        m_current = OutgoingMessage{};
        writeNext();
    }

    /// Nothing goes out after the closing handshake.
    void closed(error_code error) { end(error ? error : websocket::error::closed); }

    void end(error_code error) {
        if (m_ended) {
            return;
        }
        m_ended = true;
        m_subscribeTimer.cancel();
        m_queue.clear();
        if (error != websocket::error::closed) {
            m_socket.next_layer().close();
        }
        const websocket::close_reason& reason = m_socket.reason();
        const bool handshake = error == websocket::error::closed;
        m_peer.ended({handshake, reason.code,
            reason.reason.empty() ? error.message() : std::string(reason.reason.c_str())});
    }

    websocket::stream<ByteStream, false> m_socket; // without compression
    ByteStream::executor_type m_executor;
    HttpRequest m_request;
    asio::steady_timer m_subscribeTimer;
    StompPeer m_peer;
    std::array<char, chunkSize> m_chunk;
    std::deque<Work> m_queue;
    Work m_current;
    bool m_isOpen = false;
    bool m_isWriting = false;
    bool m_ended = false;
};

} // namespace

void serveWebSocket(ByteStream stream, HttpRequest request, RecordedRequest record,
    std::string room, std::shared_ptr<ServerState> server, ConnectionList& connections) {
    const auto connection = std::make_shared<WebSocketConnection>(std::move(stream),
        std::move(request), std::move(record), std::move(room), std::move(server));
    connections.add(connection);
    connection->start();
}

} // namespace devserver
