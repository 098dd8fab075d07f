// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

enum class NSComparisonResult { orderedAscending = -1, orderedSame = 0, orderedDescending = 1 };

/// Compares UTF-8 texts as `compare:options:` does with `NSNumericSearch`: runs of decimal digits,
/// of any length, by their value; all else by UTF-16 code unit.
NSComparisonResult numericCompare(std::string_view left, std::string_view right);
