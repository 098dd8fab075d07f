// SPDX-License-Identifier: MIT
#include "platform/linux/ServerOfLink.h"

#include "foundation/URLComponents.h"
#include "platform/linux/net/HostName.h"

#include <algorithm>

namespace platform {

std::string serverOfLink(const std::string& url) {
    constexpr std::uint16_t usualPort = 443;
    const auto components = URLComponents::parse(url);
    if (!components || !components->host) {
        return "";
    }
    const auto host = linux_::parseHostName(*components->host);
    const URLPort number = components->port.value_or(URLPort{usualPort});
    const auto port = linux_::parsePort(number.number.value_or(0));
    if (!host || !port) {
        return "";
    }
    std::string server = host->authority(*port, usualPort);
    std::transform(server.begin(), server.end(), server.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return server;
}

} // namespace platform
