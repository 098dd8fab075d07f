// SPDX-License-Identifier: MIT
// What JSON text cannot hold as it stands: quotes, backslashes and control characters (RFC 8259,
// section 7).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The length of the part at the start of `text` that JSON text takes as it stands.
std::size_t jsonPlainPrefixLength(std::string_view text);

/// Appends `text` with all that needs it escaped. `out` grows once at most.
void appendJsonEscaped(std::string& out, std::string_view text);

/// What a backslash and `letter` stand for, unless that is "u".
std::optional<char> jsonEscapedCharacter(char letter);

/// Puts a code point, which is no surrogate, as UTF-8; the place after it.
char* putUtf8(char* out, std::uint32_t codePoint);
