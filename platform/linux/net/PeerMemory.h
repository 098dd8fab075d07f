// SPDX-License-Identifier: MIT
// What a connection leaves for the next one to the same place, as that of a session follows the
// check for an update: the addresses of the name, so that it is not looked up again, and a TLS
// session to go on with.
#pragma once

#include "foundation/Handle.h"

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <openssl/ssl.h>
#include <string>
#include <utility>
#include <vector>

namespace platform::linux_ {

using TlsSession = Handle<SSL_SESSION, SSL_SESSION_free>;

/// For a minute; no longer is a name or a certificate believed without being looked at. On one
/// thread.
class PeerMemory {
public:
    /// Since the computer's start; goes on while it sleeps.
    using Time = std::chrono::nanoseconds;
    using Endpoint = boost::asio::ip::tcp::endpoint;
    using Endpoints = std::vector<Endpoint>;

    struct Place {
        std::string host; // as it is looked up
        std::uint16_t port;
        bool operator==(const Place&) const = default;
    };

    static constexpr std::chrono::seconds lifetime{60};
    static constexpr std::size_t placeLimit = 16;

    explicit PeerMemory(std::function<Time()> now = timeSinceBoot)
        : m_now(std::move(now)) { }

    Time now() const { return m_now(); }

    /// What a lookup told, that which answered first.
    void keepEndpoints(const Place& place, Endpoints endpoints, const Endpoint& answered);
    /// Empty when there are none.
    Endpoints endpoints(const Place& place);
    void forgetEndpoints(const Place& place);

    /// What a handshake with a certificate told.
    void keepSession(const Place& place, TlsSession session, Time handshake);
    /// Each is used once (RFC 8446, section C.4); null when there is none.
    TlsSession takeSession(const Place& place);

private:
    struct Entry {
        Place place;
        Time endpointsUntil{};
        Endpoints endpoints;
        Time sessionUntil{};
        TlsSession session;
    };

    static Time timeSinceBoot();
    /// Forgets what is over.
    Entry* find(const Place& place);
    Entry& findOrAdd(const Place& place);

    std::function<Time()> m_now;
    std::vector<Entry> m_entries; // in the order of their first use
};

} // namespace platform::linux_
