// SPDX-License-Identifier: MIT
// Host names to addresses.
#pragma once

#include "platform/linux/net/HostName.h"
#include "platform/linux/net/IoThread.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <vector>

namespace platform::linux_ {

struct LookupResult {
    boost::system::error_code error;
    std::vector<boost::asio::ip::tcp::endpoint> endpoints; // families taking turns (RFC 8305)
};

/// All addresses of a host, each with `port`. Ends with `timed_out` after `limit`. The system's
/// lookup cannot be interrupted: it runs on a thread of its own, which nothing ever waits for.
boost::asio::awaitable<LookupResult> lookUp(std::shared_ptr<IoGate> gate, HostName host,
    std::uint16_t port, std::chrono::milliseconds limit, AbortSignal& abort);

} // namespace platform::linux_
