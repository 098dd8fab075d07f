// SPDX-License-Identifier: MIT
#include "devserver/server/Connection.h"
#include "devserver/server/RequestOrigin.h"
#include "devserver/server/RequestTarget.h"

#include <array>
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
constexpr std::uint64_t plainBodyLimit = std::uint64_t{1} << 20; // where nobody handles bodies

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
        m_stream->limitWaiting(silenceLimit);
        m_stream->handshake(ByteStream::Role::server,
            ByteStream::Done([self = shared_from_this()](error_code error, std::size_t) {
                if (!error) {
                    self->readRequest();
                }
            }));
    }

    void abort() override {
        if (m_stream) {
            m_stream->close();
        }
    }

private:
    void readRequest() {
        m_parser.emplace();
        const std::shared_ptr<WebHandler> handler = m_server->webHandler();
        m_parser->body_limit(handler ? handler->bodyLimit() : plainBodyLimit);
        m_stream->limitWaiting(silenceLimit);
        http::async_read(*m_stream, m_buffer, *m_parser,
            [self = shared_from_this()](error_code error, std::size_t) {
                if (!error) {
                    self->handle(self->m_parser->release());
                } else if (error == http::error::body_limit) {
                    self->refuseBody();
                } else if (error == http::error::header_limit) {
                    self->refuse(errorAnswer(431, "The headers are too large"));
                }
            });
    }

    void refuseBody() {
        const std::shared_ptr<WebHandler> handler = m_server->webHandler();
        refuse(handler ? handler->tooLarge() : errorAnswer(413, "The body is too large"));
    }

    /// What is still coming is read away: closing before would reset the connection, and the client
    /// would not see the answer.
    void refuse(HttpAnswer why) {
        HttpRequest request(m_parser->get().base());
        request.keep_alive(false);
        m_isRefusing = true;
        answer(request, std::move(why));
    }

    void readAway() {
        m_stream->async_read_some(boost::asio::buffer(m_discarded),
            [self = shared_from_this()](error_code error, std::size_t) {
                if (!error) {
                    self->readAway();
                }
            });
    }

    void handle(HttpRequest request) {
        RecordedRequest record = recordOf(request);
        m_server->record(record);
        if (!isForHere(record, m_server->options().certificates)) {
            answer(request, errorAnswer(421, "This server has another name"));
            return;
        }
        if (!beast::websocket::is_upgrade(request)) {
            answerFreely(std::move(request), record);
            return;
        }
        if (std::optional<HttpAnswer> refusal = m_server->webSocketRefusal()) {
            answer(request, std::move(*refusal));
            return;
        }
        if (!isFromHere(record)) {
            answer(request, errorAnswer(403, "The request comes from another page"));
            return;
        }
        std::optional<std::string> room = RequestTarget::of(record.target).room();
        if (!room) {
            answerFreely(std::move(request), record);
            return;
        }
        ByteStream stream = std::move(*m_stream);
        m_stream.reset();
        serveWebSocket(std::move(stream), std::move(request), std::move(record), std::move(*room),
            m_server, m_connections);
    }

    void answerFreely(HttpRequest request, const RecordedRequest& record) {
        const bool isHead = request.method() == http::verb::head;
        RecordedRequest asked = record;
        asked.method = isHead ? "GET" : record.method;
        WebAnswer free = m_server->answerTo(asked, std::move(request.body()));
        if (auto* plain = std::get_if<HttpAnswer>(&free)) {
            answer(request, std::move(*plain));
            return;
        }
        if (isHead) {
            answer(request, {200, "", {{"Content-Type", "text/event-stream"}}});
            return;
        }
        ByteStream stream = std::move(*m_stream);
        m_stream.reset();
        serveEvents(std::move(stream), std::move(std::get<EventAnswer>(free)), m_connections);
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
        if (request.method() == http::verb::head) {
            m_response.body().clear(); // its length is told
        }
        m_stream->limitWaiting(silenceLimit);
        http::async_write(
            *m_stream, m_response, [self = shared_from_this()](error_code error, std::size_t) {
                if (error) {
                    return;
                }
                if (self->m_isRefusing) {
                    self->readAway();
                } else if (self->m_response.need_eof()) {
                    self->shutDown();
                } else {
                    self->readRequest();
                }
            });
    }

    void shutDown() {
        m_stream->limitWaiting(silenceLimit);
        m_stream->shutDown(
            ByteStream::Done([self = shared_from_this()](error_code, std::size_t) {}));
    }

    std::optional<ByteStream> m_stream; // absent once it is a WebSocket's
    std::shared_ptr<ServerState> m_server;
    ConnectionList& m_connections;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::string_body>> m_parser;
    http::response<http::string_body> m_response;
    bool m_isRefusing = false; // what is still to come of the request
    std::array<char, std::size_t{64} << 10> m_discarded{};
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
