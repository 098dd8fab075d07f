// SPDX-License-Identifier: MIT
#include "tests/devserver/TestClient.h"
#include "tests/devserver/ClientConnection.h"

#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace devserver::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

struct TestClient::Impl {
    explicit Impl(const std::string& authorityPem)
        : connection(authorityPem) { }

    error_code finish(const Operation& operation) {
        return connection.finish(operation, socket->next_layer());
    }

    ClientConnection connection;
    std::optional<websocket::stream<ByteStream, false>> socket; // once there is a connection
    beast::flat_buffer buffer;
    std::optional<Operation> reading; // of the next message, even while nobody waits for it
    error_code readError;
    std::string pending; // received and not yet decoded
    std::size_t messages = 0;
    stomp::FrameDecoder decoder;
};

TestClient::TestClient() = default;
TestClient::~TestClient() = default;

bool TestClient::open(
    const Server& server, const std::string& target, const std::string& subprotocols) {
    return open(server.port(), server.authorityPem(), target, subprotocols);
}

bool TestClient::open(std::uint16_t port, const std::string& authorityPem,
    const std::string& target, const std::string& subprotocols) {
    m_impl = std::make_unique<Impl>(authorityPem);
    error_code code = m_impl->connection.connect(port, "127.0.0.1");
    auto& socket = m_impl->socket.emplace(std::move(*m_impl->connection.stream));
    socket.read_message_max(0);
    socket.auto_fragment(false);
    socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& query) {
        if (!subprotocols.empty()) {
            query.set(beast::http::field::sec_websocket_protocol, subprotocols);
        }
    }));
    websocket::response_type response;
    if (!code) {
        Operation handshake;
        socket.async_handshake(
            response, "127.0.0.1:" + std::to_string(port), target, handshake.handler());
        code = m_impl->finish(handshake);
    }
    status = response.result_int();
    subprotocol = std::string(response[beast::http::field::sec_websocket_protocol]);
    error = code ? code.message() : "";
    return !code;
}

stomp::Frame subscription(const std::string& room) {
    return {"SUBSCRIBE", {{"destination", "/topic/room/" + room}, {"id", "sub-0"}}, {}};
}

bool TestClient::join(const Server& server, const std::string& room) {
    return join(server.port(), server.authorityPem(), room);
}

bool TestClient::join(
    std::uint16_t port, const std::string& authorityPem, const std::string& room) {
    if (!open(port, authorityPem, "/room/" + room)
        || !send({"CONNECT", {{"accept-version", "1.2"}, {"host", "localhost"}}, {}})) {
        return false;
    }
    const std::optional<stomp::Frame> answer = receive();
    return answer && answer->command == "CONNECTED" && send(subscription(room));
}

bool TestClient::sendText(std::string message) {
    Operation writing;
    m_impl->socket->async_write(asio::buffer(message), writing.handler());
    return !m_impl->finish(writing);
}

bool TestClient::send(const stomp::Frame& frame, stomp::Version version) {
    std::optional<std::string> text = stomp::encode(frame, version);
    return text && sendText(std::move(*text));
}

bool TestClient::sendEnvelope(const std::string& room, std::string body) {
    return send({"SEND", {{"destination", "/app/room/" + room}}, std::move(body)});
}

std::optional<stomp::Frame> TestClient::receive(std::chrono::milliseconds timeout) {
    stomp::Frame frame;
    for (;;) {
        std::string_view input = m_impl->pending;
        const auto result = m_impl->decoder.decode(input, frame);
        m_impl->pending.erase(0, m_impl->pending.size() - input.size());
        if (result != stomp::FrameDecoder::Result::needMore) {
            return result == stomp::FrameDecoder::Result::frame ? std::optional(std::move(frame))
                                                                : std::nullopt;
        }
        if (m_impl->readError) {
            return std::nullopt;
        }
        if (!m_impl->reading) {
            Operation& reading = m_impl->reading.emplace();
            m_impl->socket->async_read(m_impl->buffer, reading.handler());
        }
        if (!m_impl->connection.wait(*m_impl->reading, timeout)) {
            return std::nullopt;
        }
        m_impl->readError = m_impl->reading->error;
        m_impl->reading.reset();
        if (m_impl->readError) {
            return std::nullopt;
        }
        m_impl->pending += beast::buffers_to_string(m_impl->buffer.data());
        m_impl->buffer.clear();
        ++m_impl->messages;
    }
}

std::size_t TestClient::messageCount() const {
    return m_impl->messages;
}

bool TestClient::close() {
    Operation closing;
    m_impl->socket->async_close(websocket::close_code::normal, closing.handler());
    return !m_impl->finish(closing);
}

std::optional<unsigned> TestClient::waitForClose(std::chrono::milliseconds timeout) {
    while (receive(timeout)) { }
    if (!m_impl->readError) {
        return std::nullopt;
    }
    error = m_impl->readError.message();
    return m_impl->readError == websocket::error::closed ? m_impl->socket->reason().code : 0U;
}

void TestClient::drop() {
    m_impl->socket->next_layer().close();
}

} // namespace devserver::test
