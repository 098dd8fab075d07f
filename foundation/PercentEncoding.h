// SPDX-License-Identifier: MIT
// Percent-encoding of URL components (RFC 3986, section 2.1).
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The decoded bytes; nothing when an escape is broken.
std::optional<std::string> percentDecodedBytes(std::string_view text);

/// The decoded text; nothing when an escape is broken or the bytes are not UTF-8.
std::optional<std::string> percentDecoded(std::string_view text);

/// The text with everything but unreserved characters encoded, and what is to be kept besides.
std::string percentEncoded(std::string_view text, std::string_view kept = {});

/// The text as a URL path: everything but unreserved characters, sub-delimiters, ":", "@" and "/"
/// is encoded.
std::string percentEncodedPath(std::string_view text);

/// The text as a URL host: everything but unreserved characters, sub-delimiters, in a
/// bracketed address, its brackets and colons is encoded.
std::string percentEncodedHost(std::string_view text);
