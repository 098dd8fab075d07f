// SPDX-License-Identifier: MIT
#include "tests/devserver/WebClient.h"

#include <array>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

namespace devserver::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

namespace {

struct Connection {
    explicit Connection(const std::string& authorityPem) {
        tls.set_verify_mode(asio::ssl::verify_peer);
        tls.add_certificate_authority(asio::buffer(authorityPem));
    }

    error_code connect(std::uint16_t port) {
        error_code error;
        stream.next_layer().connect({asio::ip::address_v4::loopback(), port}, error);
        if (!error) {
            stream.handshake(asio::ssl::stream_base::client, error);
        }
        return error;
    }

    asio::io_context io;
    asio::ssl::context tls{asio::ssl::context::tls_client};
    beast::ssl_stream<beast::tcp_stream> stream{io, tls};
};

} // namespace

WebReply call(std::uint16_t port, const std::string& authorityPem, const std::string& method,
    const std::string& target, const std::string& body,
    const std::map<std::string, std::string>& headers) {
    Connection connection(authorityPem);
    error_code error = connection.connect(port);
    http::request<http::string_body> request;
    request.method_string(method);
    request.target(target);
    request.set(http::field::host, "localhost:" + std::to_string(port));
    for (const auto& [name, value] : headers) {
        request.set(name, value);
    }
    request.body() = body;
    if (method != "GET") {
        request.prepare_payload();
    }
    if (!error) {
        http::write(connection.stream, request, error);
    }
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(std::uint64_t{1} << 30);
    parser.skip(method == "HEAD");
    if (!error) {
        http::read(connection.stream, buffer, parser, error);
    }
    WebReply reply;
    if (error) {
        reply.body = error.message();
        return reply;
    }
    reply.status = parser.get().result_int();
    reply.body = std::move(parser.get().body()) + beast::buffers_to_string(buffer.data());
    for (const auto& field : parser.get()) {
        reply.headers[std::string(field.name_string())] = std::string(field.value());
    }
    return reply;
}

struct EventReader::Impl : Connection {
    using Connection::Connection;
    std::array<char, 4096> chunk{};
};

EventReader::EventReader(std::uint16_t port, const std::string& authorityPem,
    const std::string& target, const std::string& lastEventId)
    : m_impl(std::make_unique<Impl>(authorityPem)) {
    error_code error = m_impl->connect(port);
    const std::string request = "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n"
        + (lastEventId.empty() ? "" : "Last-Event-ID: " + lastEventId + "\r\n") + "\r\n";
    if (!error) {
        asio::write(m_impl->stream, asio::buffer(request), error);
    }
}

EventReader::~EventReader() = default;

bool EventReader::waitFor(const std::string& text) {
    const auto limit = std::chrono::steady_clock::now() + 3 * patience;
    for (;;) {
        const std::size_t found = m_text.find(text, m_seen);
        if (found != std::string::npos) {
            m_seen = found + text.size();
            return true;
        }
        bool done = false;
        bool failed = false;
        m_impl->stream.async_read_some(
            asio::buffer(m_impl->chunk), [&](error_code error, std::size_t length) {
                done = true;
                failed = static_cast<bool>(error);
                m_text.append(m_impl->chunk.data(), length);
            });
        m_impl->io.restart();
        while (!done && std::chrono::steady_clock::now() < limit) {
            m_impl->io.run_one_until(limit);
        }
        if (!done) {
            m_impl->stream.next_layer().close();
            m_impl->io.run(); // the read ends here, while what it refers to is there
        }
        if (!done || failed) {
            return false;
        }
    }
}

} // namespace devserver::test
