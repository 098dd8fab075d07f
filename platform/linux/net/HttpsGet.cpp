// SPDX-License-Identifier: MIT
#include "platform/linux/net/HttpsGet.h"

#include "foundation/URLReference.h"
#include "platform/linux/net/ResponseBody.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

using boost::system::error_code;
using Parser = http::response_parser<http::empty_body>;

constexpr int interimResponseLimit = 20;
constexpr std::size_t recordSize = std::size_t{16} << 10; // the most that a TLS record holds

struct Address {
    Destination destination;
    std::string target; // path and query
};

struct Response {
    unsigned status = 0;
    std::string location;
    std::string body;
};

Expected<Address> readAddress(const std::string& text) {
    const auto url = URLReference::parse(text);
    if (!url || !url->scheme) {
        return Failure{"the address " + singleLine(text) + " cannot be read"};
    }
    if (!url->hasScheme("https")) {
        return Failure{"the address " + singleLine(text) + " is not an https address"};
    }
    const URLAuthority authority = url->authority.value_or(URLAuthority{});
    const auto host = parseHostName(authority.host);
    if (!host) {
        return host.failure();
    }
    const auto port = parsePort(authority.port.value_or(""), 443);
    if (!port) {
        return port.failure();
    }
    std::string target(url->path);
    if (!target.starts_with('/')) {
        target.insert(0, "/");
    }
    if (url->query) {
        (target += '?') += *url->query;
    }
    return Address{{*host, *port, true}, std::move(target)};
}

bool isRedirect(const Response& response) {
    const unsigned status = response.status;
    const bool redirects
        = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
    return redirects && !response.location.empty();
}

/// How the body of a response comes (RFC 9112, section 6.3).
ResponseBody bodyOf(const Parser& parser) {
    const unsigned status = parser.get().result_int();
    if (status < 200 || status == 204 || status == 304) {
        return ResponseBody::plain(0, httpBodyLimit);
    }
    if (parser.chunked()) {
        return ResponseBody::chunked(httpBodyLimit);
    }
    const auto length = parser.content_length();
    return ResponseBody::plain(
        length ? std::optional<std::uint64_t>(*length) : std::nullopt, httpBodyLimit);
}

error_code errorOf(ResponseBody::State state) {
    switch (state) {
    case ResponseBody::State::complete:
        return {};
    case ResponseBody::State::tooLong:
        return http::error::body_limit;
    case ResponseBody::State::malformed:
        return http::error::bad_chunk;
    case ResponseBody::State::reading:
        break;
    }
    return http::error::partial_message;
}

/// Reads the body by hand, which no version of the library does without a fault. The stream's end
/// also ends a body without a length, and many servers end the stream without ending the
/// encryption.
asio::awaitable<error_code> readBody(
    ClientStream& stream, beast::flat_buffer& buffer, ResponseBody& body, const Peer& peer) {
    error_code error;
    std::size_t length = buffer.size();
    asio::const_buffer bytes = buffer.data();
    while (true) {
        body.take({static_cast<const char*>(bytes.data()), length});
        buffer.clear();
        if (body.state() != ResponseBody::State::reading) {
            co_return errorOf(body.state());
        }
        stream.layer().expireAfter(peer.limit);
        const asio::mutable_buffer room = buffer.prepare(recordSize);
        length = co_await stream.async_read_some(
            room, asio::redirect_error(asio::use_awaitable, error));
        bytes = room;
        if (error == asio::error::eof || error == asio::ssl::error::stream_truncated) {
            body.endOfStream();
            co_return errorOf(body.state());
        }
        if (error) {
            co_return error;
        }
    }
}

asio::awaitable<error_code> readHead(
    ClientStream& stream, beast::flat_buffer& buffer, Parser& parser, const Peer& peer) {
    parser.header_limit(httpHeaderLimit);
    parser.body_limit(boost::none); // the body has a limit of its own
    error_code error;
    while (!error && !parser.is_header_done()) {
        stream.layer().expireAfter(peer.limit);
        co_await http::async_read_some(
            stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
    }
    co_return error;
}

http::request<http::empty_body> getRequest(const Address& address, const std::string& userAgent) {
    http::request<http::empty_body> request(http::verb::get, address.target, 11);
    const Destination& destination = address.destination;
    request.set(http::field::host, destination.host.authority(destination.port, 443));
    if (!userAgent.empty()) {
        request.set(http::field::user_agent, userAgent);
    }
    request.set(http::field::accept, "application/json");
    request.set(http::field::connection, "close");
    return request;
}

asio::awaitable<Expected<Response>> getOnce(
    Connector& connector, Address address, AbortSignal& abort) {
    auto stream = co_await connector.connect(address.destination, abort);
    if (!stream) {
        co_return stream.failure();
    }
    const AbortSignal::Scope scope(abort, [&stream] { stream->layer().close(); });
    const Peer peer = connector.peerFor(address.destination);
    const auto request = getRequest(address, connector.settings().userAgent);
    error_code error;
    stream->layer().expireAfter(peer.limit);
    co_await http::async_write(*stream, request, asio::redirect_error(asio::use_awaitable, error));
    beast::flat_buffer buffer(std::size_t{2} * httpHeaderLimit);
    std::optional<Parser> parser;
    int responses = 0;
    do { // over interim responses (RFC 9110, section 15.2)
        if (++responses > interimResponseLimit) {
            co_return Failure{peer.name + " does not answer as a web server does"};
        }
        parser.emplace();
        if (!error) {
            error = co_await readHead(*stream, buffer, *parser, peer);
        }
    } while (!error && parser->get().result_int() < 200);
    if (error) {
        co_return Failure{networkErrorText(peer, error)};
    }
    ResponseBody body = bodyOf(*parser);
    if (const error_code bodyError = co_await readBody(*stream, buffer, body, peer)) {
        co_return Failure{networkErrorText(peer, bodyError)};
    }
    const auto& head = parser->get();
    co_return Response{head.result_int(), std::string(head[http::field::location]), body.release()};
}

HttpsAnswer failed(const Failure& failure) {
    return {std::nullopt, std::nullopt, TransportError{failure.text}};
}

/// Where a Location leads that was found at a readable address.
Expected<std::string> redirected(
    const std::string& from, const std::string& host, const std::string& location) {
    const auto base = URLReference::parse(from);
    const auto reference = URLReference::parse(location);
    if (!base || !reference) {
        return Failure{host + " redirects to an address that cannot be read"};
    }
    if (reference->scheme && !reference->hasScheme("https")) {
        return Failure{host + " redirects to an address that is not https"};
    }
    return resolvedURL(*base, *reference);
}

/// Raises a signal when the time is over.
class Deadline {
public:
    Deadline(const asio::any_io_executor& executor, std::chrono::milliseconds limit)
        : m_timer(executor, limit) {
        m_timer.async_wait([signal = m_signal](const error_code& error) {
            if (!error) {
                signal->raise();
            }
        });
    }

    AbortSignal& signal() { return *m_signal; }
    bool isOver() const { return m_signal->isRaised(); }

private:
    // The timer's handler may run when the deadline itself has gone.
    const std::shared_ptr<AbortSignal> m_signal = std::make_shared<AbortSignal>();
    asio::steady_timer m_timer;
};

} // namespace

asio::awaitable<HttpsAnswer> httpsGet(
    Connector& connector, std::string url, std::chrono::milliseconds limit) {
    Deadline deadline(co_await asio::this_coro::executor, limit);
    std::string host;
    for (int redirects = 0; redirects <= httpRedirectLimit; ++redirects) {
        const auto address = readAddress(url);
        if (!address) {
            co_return failed(address.failure());
        }
        host = address->destination.host.display;
        auto response = co_await getOnce(connector, *address, deadline.signal());
        if (deadline.isOver()) {
            const Destination& peer = address->destination;
            co_return failed(
                {networkErrorText({peer.host.display, peer.port, limit}, asio::error::timed_out)});
        }
        if (!response) {
            co_return failed(response.failure());
        }
        if (!isRedirect(*response)) {
            URLResponse where{std::move(url), static_cast<int>(response->status)};
            co_return HttpsAnswer{std::move(response->body), std::move(where), std::nullopt};
        }
        auto next = redirected(url, host, response->location);
        if (!next) {
            co_return failed(next.failure());
        }
        url = std::move(*next);
    }
    co_return failed({host + " redirects too often"});
}

} // namespace platform::linux_
