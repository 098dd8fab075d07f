// SPDX-License-Identifier: MIT
#include "platform/shared/ComparableHost.h"

#include "foundation/PercentEncoding.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace platform {

namespace {

/// The system's own text of an address, whose zone, if any, stays as it is; empty for a name.
std::string addressText(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) {
        return {};
    }
    const std::size_t zone = std::min(text.find('%'), text.size());
    const std::string address(text.substr(0, zone));
    for (const int family : {AF_INET, AF_INET6}) {
        std::array<unsigned char, sizeof(in6_addr)> bytes{};
        std::array<char, INET6_ADDRSTRLEN> canonical{};
        if (inet_pton(family, address.c_str(), bytes.data()) == 1
            && inet_ntop(family, bytes.data(), canonical.data(), canonical.size()) != nullptr) {
            return canonical.data() + std::string(text.substr(zone));
        }
    }
    return {};
}

} // namespace

NetworkHost comparableHost(std::string_view ascii, std::string_view display) {
    if (std::string address = addressText(ascii); !address.empty()) {
        const bool isLong = address.find(':') != std::string::npos;
        std::string shown = isLong ? '[' + address + ']' : address;
        return {std::move(address), true, std::move(shown)};
    }
    if (ascii.ends_with('.')) {
        ascii.remove_suffix(1);
    }
    std::string name(ascii);
    std::transform(name.begin(), name.end(), name.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    std::string shown = display.empty() ? name : std::string(display);
    return {std::move(name), false, std::move(shown)};
}

std::optional<NetworkHost> asciiHostToConnect(const std::string& host) {
    const auto decoded = percentDecoded(host);
    if (!decoded) {
        return std::nullopt;
    }
    std::string_view text = *decoded;
    const bool isBracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    if (isBracketed) {
        text = text.substr(1, text.size() - 2);
    }
    NetworkHost found = comparableHost(text);
    const bool isName = !isBracketed && !found.name.empty()
        && found.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-._")
            == std::string::npos;
    return found.isAddress || isName ? std::optional(std::move(found)) : std::nullopt;
}

} // namespace platform
