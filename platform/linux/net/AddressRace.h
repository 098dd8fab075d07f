// SPDX-License-Identifier: MIT
// TCP connections to the addresses of a host, of which the first to stand is taken (RFC 8305).
#pragma once

#include "platform/linux/net/IoThread.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <optional>
#include <vector>

namespace platform::linux_ {

struct RaceLimits {
    std::chrono::milliseconds total;
    std::chrono::milliseconds nextAddressDelay; // a failed attempt starts the next one at once
    std::chrono::milliseconds stall = total; // of the connection: how long what was sent may stay
};

struct RaceResult {
    boost::system::error_code error; // of all failures, the one that tells most
    std::optional<boost::asio::ip::tcp::socket> socket;
};

boost::asio::awaitable<RaceResult> connectToFirst(
    std::vector<boost::asio::ip::tcp::endpoint> endpoints, RaceLimits limits, AbortSignal& abort);

} // namespace platform::linux_
