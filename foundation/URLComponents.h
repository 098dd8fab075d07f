// SPDX-License-Identifier: MIT
// A URL taken apart under the rules of `NSURLComponents`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct URLQueryItem {
    std::string name;
    std::optional<std::string> value; // absent without "=", empty with nothing after it
};

/// The number after a host's colon.
struct URLPort {
    std::optional<std::uint64_t> number; // nothing when it passes 64 bits
};

/// The parts are percent-decoded; "+" stands for itself. A part that does not decode to UTF-8 is
/// absent.
struct URLComponents {
    std::optional<std::string> scheme;
    std::optional<std::string> host; // an IPv6 literal keeps its brackets
    std::optional<URLPort> port;
    std::optional<std::string> path; // empty where the URL has none
    std::optional<std::vector<URLQueryItem>> queryItems;

    /// Nothing when the text is no URL (RFC 3986).
    static std::optional<URLComponents> parse(std::string_view text);

    /// The value of the first query item named `key`, if it has one.
    std::optional<std::string> getQueryParameter(std::string_view key) const;
};

/// Whether a text forms a URL, absolute or relative (RFC 3986); the empty text does not.
bool formsURL(std::string_view text);
