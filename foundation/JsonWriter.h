// SPDX-License-Identifier: MIT
// The JSON writer: compact text, members in their order, no escaping that JSON does not require.
#pragma once

#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>

struct JsonWriteResult {
    std::optional<std::string> text; // UTF-8
    std::string errorDescription; // when there is no text
};

/// Fails on a number that is not finite. Text that is not UTF-8 is repaired with U+FFFD.
JsonWriteResult writeJson(const JsonValue& value);

/// A member of an object that is written without being built; an absent value is written as null.
struct JsonMemberView {
    std::string_view name;
    const JsonValue* value;
};

/// Writes an object of these members. Large values are not copied into one first.
JsonWriteResult writeJsonObject(std::initializer_list<JsonMemberView> members);

/// The length of the part at the start of `text` that JSON text takes as it stands.
std::size_t jsonPlainPrefixLength(std::string_view text);

/// Appends the escape of one character that JSON text cannot hold as it stands.
void appendJsonEscape(std::string& out, char c);
