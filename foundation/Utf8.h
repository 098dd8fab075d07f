// SPDX-License-Identifier: MIT
// Well-formed UTF-8 (Unicode, table 3-7).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

bool isUtf8(std::string_view text);

/// The length of the longest well-formed beginning, in bytes.
std::size_t utf8PrefixLength(std::string_view text);

/// The same, ending before the first NUL.
std::size_t utf8PrefixLengthWithoutNul(std::string_view text);

/// The text with each maximal ill-formed part replaced by U+FFFD (Unicode, section 3.9).
std::string utf8Repaired(std::string_view text);
