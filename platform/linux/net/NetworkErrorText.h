// SPDX-License-Identifier: MIT
// What went wrong on the network, in words that a user can act on.
#pragma once

#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::linux_ {

/// The other end of a connection as messages name it, and the time after which it counts as silent.
struct Peer {
    std::string name;
    std::uint16_t port = 0;
    std::chrono::milliseconds limit{};
};

/// The words for an error of name lookup, TCP, TLS, HTTP or WebSocket. `verifyResult` is the
/// X509_V_ code of the peer's certificate, which tells more than a failed handshake does.
std::string networkErrorText(
    const Peer& peer, const boost::system::error_code& error, long verifyResult = 0);

/// "status 403 (Forbidden)".
std::string statusText(unsigned status);

/// The close of a WebSocket by the server: the code in words, and the server's own words.
std::string serverCloseText(unsigned code, std::string_view reason);

/// "60 seconds", "0.5 seconds".
std::string durationText(std::chrono::milliseconds duration);

} // namespace platform::linux_
