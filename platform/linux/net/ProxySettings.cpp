// SPDX-License-Identifier: MIT
#include "platform/linux/net/ProxySettings.h"

#include "foundation/PercentEncoding.h"
#include "foundation/URLReference.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>
#include <cstdlib>
#include <openssl/evp.h>
#include <string_view>

namespace platform::linux_ {

namespace {

namespace ip = boost::asio::ip;

std::string variable(const char* lowerCase, const char* upperCase) {
    for (const char* name : {lowerCase, upperCase}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return {};
}

std::string base64(std::string_view text) {
    std::string out((text.size() + 2) / 3 * 4 + 1, '\0'); // one more for the terminator
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    out.resize(static_cast<std::size_t>(length));
    return out;
}

std::string lowerCase(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    return out;
}

std::optional<ip::address> addressOf(const std::string& text) {
    boost::system::error_code error;
    const auto address = ip::make_address(text, error);
    return error ? std::nullopt : std::optional(address);
}

bool networkContains(const std::string& network, const ip::address& address) {
    boost::system::error_code error;
    if (address.is_v4()) {
        const auto v4 = ip::make_network_v4(network, error);
        return !error
            && ip::make_network_v4(address.to_v4(), v4.prefix_length()).canonical()
            == v4.canonical();
    }
    const auto v6 = ip::make_network_v6(network, error);
    return !error
        && ip::make_network_v6(address.to_v6(), v6.prefix_length()).canonical() == v6.canonical();
}

/// Cuts ":PORT" off an entry; false when it names another port than `port`.
bool takePort(std::string& entry, std::uint16_t port) {
    const auto colon = entry.rfind(':');
    const bool bracketed = entry.starts_with('[');
    const bool isPort = colon != entry.npos
        && (bracketed ? colon > 0 && entry[colon - 1] == ']' : entry.find(':') == colon);
    const bool agrees = !isPort || entry.substr(colon + 1) == std::to_string(port);
    entry = isPort ? entry.substr(0, colon) : entry;
    if (bracketed && entry.ends_with(']')) {
        entry = entry.substr(1, entry.size() - 2);
    }
    return agrees;
}

bool entryCovers(std::string entry, const HostName& host, std::uint16_t port) {
    if (entry == "*") {
        return true;
    }
    if (!takePort(entry, port)) {
        return false;
    }
    if (host.isAddress) {
        const auto address = addressOf(host.certificateName());
        return address && (addressOf(entry) == address || networkContains(entry, *address));
    }
    entry.erase(0, entry.find_first_not_of("*."));
    if (const auto parsed = parseHostName(entry)) {
        entry = lowerCase(parsed->certificateName());
    }
    const std::string name = lowerCase(host.certificateName());
    return !entry.empty() && (name == entry || name.ends_with('.' + entry));
}

bool isThisComputer(const HostName& host) {
    const std::string name = lowerCase(host.certificateName());
    const auto address = host.isAddress ? addressOf(name) : std::nullopt;
    return address ? address->is_loopback() : name == "localhost" || name.ends_with(".localhost");
}

bool isExcepted(std::string_view list, const HostName& host, std::uint16_t port) {
    constexpr std::string_view separators = ", \t";
    while (true) {
        const auto begin = list.find_first_not_of(separators);
        if (begin == list.npos) {
            return false;
        }
        list.remove_prefix(begin);
        const std::string_view entry = list.substr(0, list.find_first_of(separators));
        if (entryCovers(std::string(entry), host, port)) {
            return true;
        }
        list.remove_prefix(entry.size());
    }
}

/// Of "USER" or "USER:PASSWORD", each percent-encoded.
std::string basicAuthorization(std::string_view userInformation) {
    const auto colon = std::min(userInformation.find(':'), userInformation.size());
    const auto decoded
        = [&](std::string_view text) { return percentDecodedBytes(text).value_or(std::string()); };
    const std::string user = decoded(userInformation.substr(0, colon));
    userInformation.remove_prefix(std::min(colon + 1, userInformation.size()));
    return "Basic " + base64(user + ':' + decoded(userInformation));
}

Expected<std::optional<Proxy>> parseProxy(const std::string& text) {
    const bool hasScheme = text.find("://") != text.npos;
    const std::string address = hasScheme ? text : "http://" + text;
    const auto url = URLReference::parse(address);
    if (!url || !url->hasScheme("http") || !url->authority) {
        // The text is not repeated: it may hold a password.
        return Failure{"the variable https_proxy must have the form http://HOST:PORT"};
    }
    auto host = parseHostName(url->authority->host);
    if (!host) {
        return Failure{"the variable https_proxy is wrong: " + host.failure().text};
    }
    const auto port = parsePort(url->authority->port.value_or(""), 80);
    if (!port) {
        return Failure{"the variable https_proxy is wrong: " + port.failure().text};
    }
    Proxy proxy{*host, *port, {}};
    if (const auto user = url->authority->userInformation) {
        proxy.authorization = basicAuthorization(*user);
    }
    return std::optional(std::move(proxy));
}

} // namespace

ProxyEnvironment ProxyEnvironment::ofProcess() {
    return {variable("https_proxy", "HTTPS_PROXY"), variable("no_proxy", "NO_PROXY")};
}

Expected<std::optional<Proxy>> proxyFor(
    const ProxyEnvironment& environment, const HostName& host, std::uint16_t port) {
    if (environment.httpsProxy.empty() || isThisComputer(host)
        || isExcepted(environment.noProxy, host, port)) {
        return std::optional<Proxy>();
    }
    return parseProxy(environment.httpsProxy);
}

} // namespace platform::linux_
