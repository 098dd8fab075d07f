// SPDX-License-Identifier: MIT
// The JSON reader: a whole text in, a value or an error description out.
#pragma once

#include "foundation/JsonValue.h"

#include <optional>
#include <string>

/// Nested objects and arrays are read up to this depth.
inline constexpr std::size_t jsonMaximumDepth = 512;

/// A text whose values would take more memory than this, in bytes, besides its own is refused: a
/// value may take fifty times the memory that its text does, and the text may come from anybody.
inline constexpr std::size_t jsonMemoryLimit = std::size_t{1} << 30;

struct JsonReadResult {
    std::optional<JsonValue> value;
    std::string errorDescription; // when there is no value
};

/// Reads UTF-8 JSON text whose top level is an object or an array; a byte order mark is skipped.
/// Texts and numbers stay where they are: the memory of `text` is theirs from now on.
JsonReadResult readJson(JudgedText text, std::size_t memoryLimit = jsonMemoryLimit);
