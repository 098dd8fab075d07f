// SPDX-License-Identifier: MIT
#include "foundation/URLComponents.h"

#include "foundation/PercentEncoding.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <charconv>

namespace {

/// A path after an authority begins with a slash (RFC 3986, section 3.3). Boost 1.81 does not
/// insist: it reads "//h:x" as an empty port followed by the path "x".
std::optional<boost::urls::url_view> parsedReference(std::string_view text) {
    const auto parsed = boost::urls::parse_uri_reference(text);
    if (!parsed) {
        return std::nullopt;
    }
    const auto path = parsed->encoded_path();
    if (parsed->has_authority() && !path.empty() && path.front() != '/') {
        return std::nullopt;
    }
    return *parsed;
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
    const std::optional<boost::urls::url_view> parsed = parsedReference(text);
    if (!parsed) {
        return std::nullopt;
    }
    const boost::urls::url_view& url = *parsed;
    URLComponents components;
    if (url.has_scheme()) {
        components.scheme = std::string(url.scheme());
    }
    if (url.has_authority()) {
        components.host = percentDecoded(std::string(url.encoded_host()));
        if (!components.host) {
            return std::nullopt;
        }
        if (const std::string digits(url.port()); !digits.empty()) {
            std::uint64_t port = 0;
            if (std::from_chars(digits.data(), digits.data() + digits.size(), port).ec
                != std::errc()) {
                return std::nullopt;
            }
            components.port = port;
        }
    }
    std::optional<std::string> path = percentDecoded(std::string(url.encoded_path()));
    if (!path) {
        return std::nullopt;
    }
    components.path = std::move(*path);
    if (url.has_query()) {
        components.queryItems = itemsOfQuery(std::string(url.encoded_query()));
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
    return !text.empty() && parsedReference(text).has_value();
}
