// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqServerList.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

constexpr std::uint64_t portUnlessTold = 443;
constexpr std::uint64_t largestPort = 65535;
constexpr std::string_view wildcard = "*.";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view nameCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-_";

struct EntryParts {
    std::string_view host;
    std::optional<std::string_view> port;
};

/// Splits at the colon that is not within brackets; nothing when there are several.
std::optional<EntryParts> partsOf(std::string_view text) {
    const std::size_t bracket = text.starts_with('[') ? text.find(']') : 0;
    if (bracket == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t colon = text.find(':', bracket);
    if (colon == std::string_view::npos) {
        return EntryParts{text, std::nullopt};
    }
    if (text.find(':', colon + 1) != std::string_view::npos) {
        return std::nullopt;
    }
    return EntryParts{text.substr(0, colon), text.substr(colon + 1)};
}

std::optional<std::uint64_t> portOf(std::string_view text) {
    std::uint64_t port = 0;
    const bool isNumber = !text.empty() && text.size() <= 5 && text.front() != '0'
        && text.find_first_not_of(digits) == std::string_view::npos;
    if (!isNumber || std::from_chars(text.data(), text.data() + text.size(), port).ec != std::errc()
        || port > largestPort) {
        return std::nullopt;
    }
    return port;
}

std::vector<std::string_view> labelsOf(std::string_view name) {
    std::vector<std::string_view> labels;
    while (true) {
        const std::size_t end = name.find('.');
        labels.push_back(name.substr(0, end));
        if (end == std::string_view::npos) {
            return labels;
        }
        name.remove_prefix(end + 1);
    }
}

/// Whether this is the name of a host. One that ends in a number is none: some systems read such
/// names as addresses ("127.1", "0x7f.1").
bool isHostName(std::string_view name) {
    const auto labels = labelsOf(name);
    const bool isLikeAddress = labels.back().find_first_not_of(digits) == std::string_view::npos
        || labels.back().starts_with("0x");
    return !isLikeAddress && name.size() <= 253
        && std::all_of(labels.begin(), labels.end(), [](std::string_view label) {
               return !label.empty() && label.size() <= 63
                   && label.find_first_not_of(nameCharacters) == std::string_view::npos;
           });
}

} // namespace

std::optional<std::string> ZqServerList::add(const std::string& text) {
    const auto parts = partsOf(text);
    if (!parts) {
        return "neither HOST nor HOST:PORT (an IPv6 address stands in brackets)";
    }
    Entry entry;
    if (parts->port != "*") {
        entry.port = parts->port ? portOf(*parts->port) : portUnlessTold;
        if (!entry.port) {
            return "the port is not a number from 1 to 65535, nor \"*\"";
        }
    }
    std::string_view hostText = parts->host;
    entry.isWildcard = hostText.starts_with(wildcard);
    hostText.remove_prefix(entry.isWildcard ? wildcard.size() : 0);
    if (hostText.find_first_of("%*/?#@\\") != std::string_view::npos) {
        return "a host is a name or an address, at most with \"*.\" before a name";
    }
    const auto host = platform::trust() == nullptr
        ? std::nullopt
        : platform::trust()->hostToConnect(std::string(hostText));
    if (!host) {
        return "not the name of a host, and not an address";
    }
    const bool isLongAddress = host->isAddress && host->name.find(':') != std::string::npos;
    if (hostText.starts_with('[') != isLongAddress
        || (!host->isAddress && !isHostName(host->name))) {
        return "not the name of a host, and not an address";
    }
    if (entry.isWildcard && (host->isAddress || labelsOf(host->name).size() < 2)) {
        return "behind \"*.\" stands a name of two labels at least";
    }
    entry.host = host->name;
    entry.isAddress = host->isAddress;
    m_entries.push_back(std::move(entry));
    return std::nullopt;
}

bool ZqServerList::matches(const Entry& entry, const platform::NetworkHost& host) {
    if (!entry.isWildcard) {
        return entry.isAddress == host.isAddress && entry.host == host.name;
    }
    const std::size_t dot = host.name.find('.');
    return !host.isAddress && dot != std::string::npos && dot > 0
        && host.name.substr(dot + 1) == entry.host;
}

bool ZqServerList::allows(const platform::NetworkHost& host, std::uint64_t port) const {
    return std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return (!entry.port || *entry.port == port) && matches(entry, host);
    });
}

std::vector<std::string> ZqServerList::entries() const {
    std::vector<std::string> texts;
    for (const Entry& entry : m_entries) {
        const bool isLong = entry.host.find(':') != std::string::npos;
        texts.push_back((entry.isWildcard ? std::string(wildcard) : std::string())
            + (isLong ? '[' + entry.host + ']' : entry.host) + ':'
            + (entry.port ? std::to_string(*entry.port) : std::string("*")));
    }
    return texts;
}
