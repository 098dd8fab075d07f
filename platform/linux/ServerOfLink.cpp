// SPDX-License-Identifier: MIT
#include "platform/linux/ServerOfLink.h"

#include "foundation/URLComponents.h"
#include "platform/linux/net/HostName.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <openssl/sha.h>

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

std::string roomCodeOfLink(const std::string& url) {
    constexpr std::uint32_t codes = 1'000'000;
    constexpr std::size_t digits = 6;
    const auto components = URLComponents::parse(url);
    const auto room = components ? components->getQueryParameter("roomId") : std::nullopt;
    if (!room) {
        return "";
    }
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(room->data()), room->size(), digest.data());
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number = (number << 8) | digest[i];
    }
    const std::string code = std::to_string(number % codes);
    return std::string(digits - code.size(), '0') + code;
}

} // namespace platform
