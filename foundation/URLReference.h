// SPDX-License-Identifier: MIT
// URI references taken apart and resolved (RFC 3986).
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Section 3.2: [ user information "@" ] host [ ":" port ].
struct URLAuthority {
    std::optional<std::string_view> userInformation;
    std::string_view host; // an address of version 6 or later in its brackets
    std::optional<std::string_view> port; // digits; none after a colon alone
};

/// The parts of a URL, absolute or relative (section 4.1). They are still encoded, and point into
/// the text that was parsed.
struct URLReference {
    std::optional<std::string_view> scheme;
    std::optional<URLAuthority> authority;
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;

    /// Nothing when the text is not of the grammar.
    static std::optional<URLReference> parse(std::string_view text);

    bool hasScheme(std::string_view lowerCaseName) const;
};

/// Where `reference` leads when it is found at `base`, a URL with scheme and authority (section
/// 5.2.2). A fragment is dropped.
std::string resolvedURL(const URLReference& base, const URLReference& reference);

/// Whether the ASCII characters of a text may all stand somewhere in a URL (section 2).
bool hasOnlyURLCharacters(std::string_view text);
