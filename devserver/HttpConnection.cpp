// SPDX-License-Identifier: MIT
#include "devserver/Connection.h"
#include "devserver/RequestTarget.h"

#include <chrono>
#include <optional>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

namespace devserver {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

namespace {

constexpr std::chrono::seconds silenceLimit{60}; // of a client within one step
constexpr std::uint64_t bodyLimit = std::uint64_t{1} << 20;

RecordedRequest recordOf(const HttpRequest& request) {
    RecordedRequest record{std::string(request.method_string()), std::string(request.target()), {}};
    for (const auto& field : request) {
        record.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    return record;
}

/// One TLS connection with requests on it, until one of them becomes a WebSocket.
class HttpConnection final : public Connection,
                             public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls,
        std::shared_ptr<ServerState> server, ConnectionList& connections)
        : m_stream(std::in_place, std::move(socket), tls)
        , m_server(std::move(server))
        , m_connections(connections) { }

    void start() {
        lowest().expires_after(silenceLimit);
        m_stream->async_handshake(
            boost::asio::ssl::stream_base::server, [self = shared_from_this()](error_code error) {
                if (!error) {
                    self->readRequest();
                }
            });
    }

    void abort() override {
        if (m_stream) {
            lowest().close();
        }
    }

private:
    beast::tcp_stream& lowest() { return beast::get_lowest_layer(*m_stream); }

    void readRequest() {
        m_parser.emplace();
        m_parser->body_limit(bodyLimit);
        lowest().expires_after(silenceLimit);
        http::async_read(*m_stream, m_buffer, *m_parser,
            [self = shared_from_this()](error_code error, std::size_t) {
                if (!error) {
                    self->handle(self->m_parser->release());
                }
            });
    }

    void handle(HttpRequest request) {
        RecordedRequest record = recordOf(request);
        m_server->record(record);
        if (!beast::websocket::is_upgrade(request)) {
            answer(request, m_server->answerTo(record));
            return;
        }
        if (std::optional<HttpAnswer> refusal = m_server->webSocketRefusal()) {
            answer(request, std::move(*refusal));
            return;
        }
        std::optional<std::string> room = RequestTarget::of(record.target).room();
        if (!room) {
            answer(request, m_server->answerTo(record));
            return;
        }
        TlsStream stream = std::move(*m_stream);
        m_stream.reset();
        serveWebSocket(std::move(stream), std::move(request), std::move(record), std::move(*room),
            m_server, m_connections);
    }

    void answer(const HttpRequest& request, HttpAnswer answer) {
        m_response = {};
        m_response.version(request.version());
        m_response.result(answer.status);
        m_response.set(http::field::server, "quillet-devserver/" QUILLET_DEVSERVER_VERSION);
        for (const auto& [name, value] : answer.headers) {
            m_response.insert(name, value);
        }
        m_response.keep_alive(request.keep_alive());
        m_response.body() = std::move(answer.body);
        m_response.prepare_payload();
        lowest().expires_after(silenceLimit);
        http::async_write(
            *m_stream, m_response, [self = shared_from_this()](error_code error, std::size_t) {
                if (error) {
                    return;
                }
                if (self->m_response.need_eof()) {
                    self->shutDown();
                } else {
                    self->readRequest();
                }
            });
    }

    void shutDown() {
        lowest().expires_after(silenceLimit);
        m_stream->async_shutdown([self = shared_from_this()](error_code) {});
    }

    std::optional<TlsStream> m_stream; // absent once it is a WebSocket's
    std::shared_ptr<ServerState> m_server;
    ConnectionList& m_connections;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::string_body>> m_parser;
    http::response<http::string_body> m_response;
};

} // namespace

void serveHttp(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls,
    std::shared_ptr<ServerState> server, ConnectionList& connections) {
    const auto connection
        = std::make_shared<HttpConnection>(std::move(socket), tls, std::move(server), connections);
    connections.add(connection);
    connection->start();
}

} // namespace devserver
