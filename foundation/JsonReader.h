// SPDX-License-Identifier: MIT
// The JSON reader: a whole text in, a value or an error description out.
#pragma once

#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>

/// Nested objects and arrays are read up to this depth.
inline constexpr std::size_t jsonMaximumDepth = 512;

/// More values than this are refused: each takes many times the memory that its text does, and the
/// text may come from anybody.
inline constexpr std::size_t jsonMaximumValues = std::size_t{1} << 20;

struct JsonReadResult {
    std::optional<JsonValue> value;
    std::string errorDescription; // when there is no value
};

/// Reads UTF-8 JSON text whose top level is an object or an array; a byte order mark is skipped.
JsonReadResult readJson(std::string_view text);
