// SPDX-License-Identifier: MIT
#include "tests/devserver/TestClient.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace devserver::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace {

asio::ip::tcp::endpoint loopback(const std::string& host, std::uint16_t port) {
    return host == "::1" ? asio::ip::tcp::endpoint(asio::ip::address_v6::loopback(), port)
                         : asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), port);
}

asio::ssl::context trusting(const std::string& authorityPem) {
    asio::ssl::context tls(asio::ssl::context::tls_client);
    tls.set_verify_mode(asio::ssl::verify_peer);
    tls.add_certificate_authority(asio::buffer(authorityPem));
    return tls;
}

using Stream = beast::ssl_stream<beast::tcp_stream>;

error_code connectTls(Stream& stream, const std::string& host, std::uint16_t port) {
    error_code error;
    stream.set_verify_callback(asio::ssl::host_name_verification(host), error);
    if (!error) {
        beast::get_lowest_layer(stream).connect(loopback(host, port), error);
    }
    if (!error) {
        beast::get_lowest_layer(stream).socket().set_option(asio::ip::tcp::no_delay(true), error);
    }
    if (!error) {
        stream.handshake(asio::ssl::stream_base::client, error);
    }
    return error;
}

} // namespace

HttpReply request(const Server& server, const std::string& target, const std::string& host,
    const std::string& method) {
    asio::io_context context;
    asio::ssl::context tls = trusting(server.authorityPem());
    Stream stream(context, tls);
    error_code error = connectTls(stream, host, server.port());
    http::request<http::empty_body> query;
    query.method_string(method);
    query.target(target);
    query.set(http::field::host, host);
    query.set("X-Test", "yes");
    if (!error) {
        http::write(stream, query, error);
    }
    beast::flat_buffer buffer;
    http::response<http::string_body> reply;
    if (!error) {
        http::read(stream, buffer, reply, error);
    }
    if (error) {
        return {0, "", "", error.message()};
    }
    return {reply.result_int(), reply.body(), std::string(reply[http::field::location]), ""};
}

struct TestClient::Impl {
    explicit Impl(asio::ssl::context context)
        : tls(std::move(context))
        , socket(io, tls) { }

    /// Runs one started operation to its end; after `timeout` it goes on in the background.
    bool run(const bool& done, std::chrono::milliseconds timeout) {
        const auto end = std::chrono::steady_clock::now() + timeout;
        while (!done && std::chrono::steady_clock::now() < end) {
            io.restart();
            io.run_one_until(end);
        }
        return done;
    }

    void startReading() {
        reading = true;
        arrived = false;
        socket.async_read(buffer, [this](error_code code, std::size_t) {
            reading = false;
            arrived = true;
            readError = code;
        });
    }

    asio::io_context io;
    asio::ssl::context tls;
    websocket::stream<Stream, false> socket;
    beast::flat_buffer buffer;
    bool reading = false;
    bool arrived = false;
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
    m_impl = std::make_unique<Impl>(trusting(authorityPem));
    auto& socket = m_impl->socket;
    error_code code = connectTls(socket.next_layer(), "127.0.0.1", port);
    socket.read_message_max(0);
    socket.auto_fragment(false);
    socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& query) {
        if (!subprotocols.empty()) {
            query.set(http::field::sec_websocket_protocol, subprotocols);
        }
    }));
    websocket::response_type response;
    if (!code) {
        socket.handshake(response, "127.0.0.1:" + std::to_string(port), target, code);
    }
    status = response.result_int();
    subprotocol = std::string(response[http::field::sec_websocket_protocol]);
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
    error_code code;
    m_impl->socket.write(asio::buffer(message), code);
    return !code;
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
        if (!m_impl->reading && !m_impl->readError) {
            m_impl->startReading();
        }
        if (!m_impl->run(m_impl->arrived, timeout) || m_impl->readError) {
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
    bool done = false;
    error_code result;
    m_impl->socket.async_close(websocket::close_code::normal, [&](error_code code) {
        done = true;
        result = code;
    });
    return m_impl->run(done, patience) && !result;
}

std::optional<unsigned> TestClient::waitForClose(std::chrono::milliseconds timeout) {
    while (receive(timeout)) { }
    if (!m_impl->readError) {
        return std::nullopt;
    }
    error = m_impl->readError.message();
    return m_impl->readError == websocket::error::closed ? m_impl->socket.reason().code : 0U;
}

void TestClient::drop() {
    beast::get_lowest_layer(m_impl->socket).close();
}

} // namespace devserver::test
