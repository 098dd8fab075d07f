// SPDX-License-Identifier: MIT
#include "platform/linux/net/Connector.h"

#include "platform/linux/net/AddressRace.h"
#include "platform/linux/net/HostComparison.h"
#include "platform/linux/net/NameLookup.h"
#include "platform/linux/net/TlsLayer.h"

#include <algorithm>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

using boost::system::error_code;

/// Of addresses that answered a moment ago; what takes longer is looked up anew.
constexpr std::chrono::milliseconds knownAddressLimit{2000};
constexpr std::uint32_t proxyHeaderLimit = 64 << 10; // bytes of a proxy's response header

/// A signal may be raised when one phase has ended and the next has not begun: each looks itself.
const Failure aborted{"the connection was closed"};

/// Has OpenSSL ask for, and check the certificate for, this host. False when it cannot.
bool expectHost(SSL* ssl, const HostName& host) {
    const std::string name = host.certificateName();
    if (host.isAddress) {
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), name.c_str()) == 1;
    }
    // The name must stand among the alternative names; a subject alone does not count.
    SSL_set_hostflags(
        ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    return SSL_set1_host(ssl, name.c_str()) == 1
        && SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
               const_cast<char*>(name.c_str()))
        == 1;
}

std::string connectRequest(
    const Proxy& proxy, const Destination& destination, const std::string& userAgent) {
    const std::string target = destination.host.authority(destination.port, 0);
    std::string text = "CONNECT " + target + " HTTP/1.1\r\nHost: " + target + "\r\n";
    if (!userAgent.empty()) {
        text += "User-Agent: " + userAgent + "\r\n";
    }
    if (!proxy.authorization.empty()) {
        text += "Proxy-Authorization: " + proxy.authorization + "\r\n";
    }
    return text + "\r\n";
}

std::string proxyRefusal(
    unsigned status, const Proxy& proxy, const Peer& peer, const Destination& destination) {
    if (status == 407) {
        return proxy.authorization.empty()
            ? peer.name + " asked for a password, which the variable https_proxy must give"
            : peer.name + " did not accept the user name and password in the variable https_proxy";
    }
    return peer.name + " does not connect to " + destination.host.display + ": "
        + statusText(status);
}

} // namespace

void Connector::setRule(ConnectionRule rule) {
    const std::lock_guard lock(m_ruleMutex);
    m_rule = std::move(rule);
}

std::optional<Failure> Connector::refusal(const Destination& destination) {
    const std::lock_guard lock(m_ruleMutex);
    const auto words
        = m_rule ? m_rule(networkHost(destination.host), destination.port) : std::nullopt;
    return words ? std::optional(Failure{*words}) : std::nullopt;
}

Peer Connector::peerFor(const Destination& destination) const {
    return {destination.host.display, destination.port, m_settings.stallLimit};
}

asio::awaitable<Expected<ClientStream>> Connector::connect(
    Destination destination, AbortSignal& abort) {
    if (auto refused = refusal(destination)) {
        co_return *std::move(refused);
    }
    std::optional<Proxy> proxy;
    if (destination.secure) {
        auto found = proxyFor(m_settings.proxies, destination.host, destination.port);
        if (!found) {
            co_return found.failure();
        }
        proxy = std::move(*found);
        prepare(); // while the name is looked up
    }
    while (true) {
        auto tcp = co_await connectTransport(destination, proxy, abort);
        if (!tcp || abort.isRaised()) {
            co_return tcp ? aborted : tcp.failure();
        }
        if (!destination.secure) {
            co_return ClientStream(makeLayer(std::move(*tcp)));
        }
        bool isSessionRefused = false;
        auto stream = co_await startTls(std::move(*tcp), destination, abort, isSessionRefused);
        if (stream || !isSessionRefused || abort.isRaised()) {
            co_return stream;
        }
        // A session is used once, so the second time offers none.
    }
}

asio::awaitable<Expected<TcpStream>> Connector::connectTransport(
    Destination destination, std::optional<Proxy> proxy, AbortSignal& abort) {
    if (proxy) {
        co_return co_await connectByProxy(*proxy, destination, abort);
    }
    co_return co_await connectTcp(destination.host, peerFor(destination), abort);
}

asio::awaitable<Expected<TcpStream>> Connector::connectTcp(
    HostName host, Peer peer, AbortSignal& abort) {
    const RaceLimits limits{m_settings.stallLimit, m_settings.nextAddressDelay};
    const PeerMemory::Place place{host.ascii, peer.port};
    if (auto known = m_memory->endpoints(place); !known.empty()) {
        const RaceLimits shorter{
            std::min(limits.total, knownAddressLimit), limits.nextAddressDelay, limits.stall};
        RaceResult race = co_await connectToFirst(std::move(known), shorter, abort);
        if (race.socket) {
            co_return TcpStream(std::move(*race.socket));
        }
        m_memory->forgetEndpoints(place); // they may be others by now
        if (abort.isRaised()) {
            co_return aborted;
        }
    }
    const LookupResult found
        = co_await lookUp(m_gate, host, peer.port, m_settings.stallLimit, abort);
    if (found.error == asio::error::timed_out) {
        co_return Failure{"name " + peer.name + " could not be looked up within "
            + durationText(m_settings.stallLimit)};
    }
    if (found.error || abort.isRaised()) {
        co_return found.error ? Failure{networkErrorText(peer, found.error)} : aborted;
    }
    RaceResult race = co_await connectToFirst(found.endpoints, limits, abort);
    if (!race.socket) {
        co_return Failure{networkErrorText(peer, race.error)};
    }
    error_code ignored;
    m_memory->keepEndpoints(place, found.endpoints, race.socket->remote_endpoint(ignored));
    co_return TcpStream(std::move(*race.socket));
}

asio::awaitable<Expected<TcpStream>> Connector::connectByProxy(
    Proxy proxy, Destination destination, AbortSignal& abort) {
    const Peer peer{"the proxy " + proxy.host.display, proxy.port, m_settings.stallLimit};
    auto tcp = co_await connectTcp(proxy.host, peer, abort);
    if (!tcp || abort.isRaised()) {
        co_return tcp ? aborted : tcp.failure();
    }
    const AbortSignal::Scope scope(abort, [&tcp] { tcp->close(); });
    const std::string request = connectRequest(proxy, destination, m_settings.userAgent);
    tcp->expires_after(m_settings.stallLimit);
    error_code error;
    co_await asio::async_write(
        *tcp, asio::buffer(request), asio::redirect_error(asio::use_awaitable, error));
    beast::flat_buffer buffer(proxyHeaderLimit);
    http::response_parser<http::empty_body> parser;
    parser.header_limit(proxyHeaderLimit);
    if (!error) {
        co_await http::async_read_header(
            *tcp, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
    }
    if (error) {
        co_return Failure{networkErrorText(peer, error)};
    }
    const unsigned status = parser.get().result_int();
    if (status < 200 || status > 299) {
        co_return Failure{proxyRefusal(status, proxy, peer, destination)};
    }
    if (buffer.size() != 0) {
        // Bytes from before the encryption must not be taken for the server's.
        co_return Failure{peer.name + " does not answer as a proxy does"};
    }
    tcp->expires_never();
    co_return std::move(*tcp);
}

asio::awaitable<Expected<ClientStream>> Connector::startTls(
    TcpStream tcp, Destination destination, AbortSignal& abort, bool& isSessionRefused) {
    const auto context = m_tlsContext.get();
    if (!context) {
        co_return context.failure();
    }
    const auto tls = std::make_shared<TlsLayer>(tcp.release_socket(), **context);
    if (!expectHost(tls->handle(), destination.host)) {
        co_return Failure{destination.host.display + " cannot be the name of a TLS server"};
    }
    const PeerMemory::Place place{destination.host.ascii, destination.port};
    TlsSession session = m_memory->takeSession(place);
    const bool offersSession = session != nullptr;
    tls->resume(std::move(session),
        [memory = m_memory, place, handshake = m_memory->now()](
            TlsSession offered) { memory->keepSession(place, std::move(offered), handshake); });
    const AbortSignal::Scope scope(abort, [&tls] { tls->close(); });
    tls->expireAfter(m_settings.stallLimit);
    if (const error_code error = co_await tls->shakeHands()) {
        const long verifyResult = SSL_get_verify_result(tls->handle());
        isSessionRefused = offersSession && verifyResult == X509_V_OK
            && error.category() == asio::error::get_ssl_category();
        m_memory->forgetEndpoints(place); // another may do better
        co_return Failure{networkErrorText(peerFor(destination), error, verifyResult)};
    }
    tls->expireNever();
    co_return ClientStream(tls);
}

} // namespace platform::linux_
