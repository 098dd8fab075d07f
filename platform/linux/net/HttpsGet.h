// SPDX-License-Identifier: MIT
// One HTTPS GET with its redirects (RFC 9110, RFC 9112).
#pragma once

#include "platform/Network.h"
#include "platform/linux/net/Connector.h"

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <string>

namespace platform::linux_ {

inline constexpr int httpRedirectLimit = 10;
inline constexpr std::size_t httpBodyLimit = std::size_t{64} << 20; // bytes
inline constexpr std::uint32_t httpHeaderLimit = std::uint32_t{64} << 10; // bytes

/// What a data task's completion is told: data and response, or an error.
struct HttpsAnswer {
    std::optional<std::string> data;
    std::optional<URLResponse> response;
    std::optional<TransportError> error;
};

/// A response of any status but a redirect is an answer. Redirects lead to https only. All of it
/// together takes no longer than `limit`.
boost::asio::awaitable<HttpsAnswer> httpsGet(
    Connector& connector, std::string url, std::chrono::milliseconds limit);

} // namespace platform::linux_
