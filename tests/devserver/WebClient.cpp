// SPDX-License-Identifier: MIT
#include "tests/devserver/WebClient.h"

#include "tests/devserver/ClientConnection.h"

#include <algorithm>
#include <array>

#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace devserver::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

namespace {

using Request = http::request<http::string_body>;

Request requestOf(const std::string& method, const std::string& target) {
    Request request;
    request.method_string(method);
    request.target(target);
    return request;
}

/// The answer to `request` from the server that `host` names; or the error, with what failed as its
/// body.
WebReply exchange(std::uint16_t port, const std::string& authorityPem, const std::string& host,
    const Request& request) {
    ClientConnection connection(authorityPem);
    error_code error = connection.connect(port, host);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(std::uint64_t{1} << 30);
    parser.skip(request.method() == http::verb::head);
    if (!error) {
        Operation writing;
        http::async_write(*connection.stream, request, writing.handler());
        error = connection.finish(writing, *connection.stream, 3 * patience);
    }
    if (!error) {
        Operation reading;
        http::async_read(*connection.stream, buffer, parser, reading.handler());
        error = connection.finish(reading, *connection.stream, 3 * patience);
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

} // namespace

HttpReply request(const Server& server, const std::string& target, const std::string& host,
    const std::string& method) {
    Request query = requestOf(method, target);
    query.set(http::field::host, host);
    query.set("X-Test", "yes");
    WebReply reply = exchange(server.port(), server.authorityPem(), host, query);
    if (reply.status == 0) {
        return {0, "", "", reply.body};
    }
    return {reply.status, reply.body, reply.headers["Location"], ""};
}

WebReply call(std::uint16_t port, const std::string& authorityPem, const std::string& method,
    const std::string& target, const std::string& body,
    const std::map<std::string, std::string>& headers) {
    Request query = requestOf(method, target);
    query.set(http::field::host, "localhost:" + std::to_string(port));
    for (const auto& [name, value] : headers) {
        query.set(name, value);
    }
    query.body() = body;
    if (method != "GET") {
        query.prepare_payload();
    }
    return exchange(port, authorityPem, "localhost", query);
}

struct EventReader::Impl : ClientConnection {
    using ClientConnection::ClientConnection;
    std::array<char, 4096> chunk{};
};

EventReader::EventReader(std::uint16_t port, const std::string& authorityPem,
    const std::string& target, const std::string& lastEventId)
    : m_impl(std::make_unique<Impl>(authorityPem)) {
    const std::string request = "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n"
        + (lastEventId.empty() ? "" : "Last-Event-ID: " + lastEventId + "\r\n") + "\r\n";
    if (!m_impl->connect(port, "localhost")) {
        Operation writing;
        asio::async_write(*m_impl->stream, asio::buffer(request), writing.handler());
        m_impl->finish(writing, *m_impl->stream);
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
        Operation reading;
        m_impl->stream->async_read_some(asio::buffer(m_impl->chunk), reading.handler());
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            limit - std::chrono::steady_clock::now());
        const error_code error = m_impl->finish(
            reading, *m_impl->stream, std::max(left, std::chrono::milliseconds(0)));
        m_text.append(m_impl->chunk.data(), reading.length);
        if (error) {
            return false;
        }
    }
}

} // namespace devserver::test
