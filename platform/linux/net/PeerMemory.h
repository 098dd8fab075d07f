// SPDX-License-Identifier: MIT
// What a connection leaves for the next one to the same place, as that of a session follows the
// check for an update: the addresses of the name, so that it is not looked up again, and a TLS
// session to go on with.
#pragma once

#include "foundation/Handle.h"

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <functional>
#include <openssl/ssl.h>
#include <string>
#include <vector>

namespace platform::linux_ {

using TlsSession = Handle<SSL_SESSION, SSL_SESSION_free>;

/// For a minute; no longer is a name or a certificate believed without being looked at. On one
/// thread.
class PeerMemory {
public:
    using Clock = std::chrono::steady_clock;
    using Endpoint = boost::asio::ip::tcp::endpoint;
    using Endpoints = std::vector<Endpoint>;

    struct Place {
        std::string host; // as it is looked up
        std::uint16_t port;
        bool operator==(const Place&) const = default;
    };

    static constexpr std::chrono::seconds lifetime{60};
    static constexpr std::size_t placeLimit = 16;

    explicit PeerMemory(std::function<Clock::time_point()> now = Clock::now)
        : m_now(std::move(now)) { }

    /// What a lookup told, that which answered first.
    void keepEndpoints(const Place& place, Endpoints endpoints, const Endpoint& answered);
    /// Empty when there are none.
    Endpoints endpoints(const Place& place);
    void forgetEndpoints(const Place& place);

    /// What a handshake with a certificate told.
    void keepSession(const Place& place, TlsSession session);
    /// Each is used once (RFC 8446, section C.4); null when there is none.
    TlsSession takeSession(const Place& place);

private:
    struct Entry {
        Place place;
        Clock::time_point endpointsUntil;
        Endpoints endpoints;
        Clock::time_point sessionUntil;
        TlsSession session;
    };

    Entry* find(const Place& place);
    Entry& findOrAdd(const Place& place);

    std::function<Clock::time_point()> m_now;
    std::vector<Entry> m_entries; // the newest last
};

} // namespace platform::linux_
