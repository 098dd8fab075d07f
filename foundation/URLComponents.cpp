// SPDX-License-Identifier: MIT
#include "foundation/URLComponents.h"

#include "foundation/PercentEncoding.h"
#include "foundation/URLReference.h"

#include <algorithm>
#include <charconv>

namespace {

URLPort portOf(std::string_view digits) {
    std::uint64_t number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return {result.ec == std::errc() ? std::optional(number) : std::nullopt};
}

/// An item whose name or value does not decode to text has an empty name, or no value.
std::vector<URLQueryItem> itemsOfQuery(std::string_view query) {
    std::vector<URLQueryItem> items;
    if (query.empty()) {
        return items;
    }
    while (true) {
        const std::size_t end = query.find('&');
        const std::string_view item = query.substr(0, end);
        const std::size_t equals = item.find('=');
        URLQueryItem& added = items.emplace_back();
        added.name = percentDecoded(item.substr(0, equals)).value_or(std::string());
        if (equals != std::string_view::npos) {
            added.value = percentDecoded(item.substr(equals + 1));
        }
        if (end == std::string_view::npos) {
            return items;
        }
        query.remove_prefix(end + 1);
    }
}

} // namespace

std::optional<URLComponents> URLComponents::parse(std::string_view text) {
    const std::optional<URLReference> url = URLReference::parse(text);
    if (!url) {
        return std::nullopt;
    }
    URLComponents components;
    components.scheme = url->scheme;
    if (url->authority) {
        components.host = percentDecoded(url->authority->host);
        if (const std::string_view digits = url->authority->port.value_or(""); !digits.empty()) {
            components.port = portOf(digits);
        }
    }
    components.path = percentDecoded(url->path);
    if (url->query) {
        components.queryItems = itemsOfQuery(*url->query);
    }
    return components;
}

std::optional<std::string> URLComponents::getQueryParameter(std::string_view key) const {
    if (!queryItems) {
        return std::nullopt;
    }
    const auto found = std::find_if(queryItems->begin(), queryItems->end(),
        [&](const URLQueryItem& item) { return item.name == key; });
    return found == queryItems->end() ? std::nullopt : found->value;
}

bool formsURL(std::string_view text) {
    return !text.empty() && URLReference::parse(text).has_value();
}
