// SPDX-License-Identifier: MIT
// The JSON writer: compact text, members in their order, no escaping that JSON does not require.
#pragma once

#include "foundation/JsonValue.h"
#include "foundation/TextPieces.h"

#include <optional>
#include <string>
#include <string_view>

template <typename Text>
struct JsonWritten {
    std::optional<Text> text; // UTF-8
    std::string errorDescription; // when there is no text
};

using JsonWriteResult = JsonWritten<std::string>;

/// Fails on a number that is not finite.
JsonWriteResult writeJson(const JsonValue& value);

/// A member of an object that is written without being built; an absent value is written as null.
struct JsonMemberView {
    JsonText name;
    const JsonValue* value;
};

/// Writes an object of these members. Long texts are not copied.
JsonWritten<TextPieces> writeJsonObject(std::initializer_list<JsonMemberView> members);

/// Appends the text of a value. False when it holds a number that is not finite, which then stands
/// in `out` all the same.
bool appendJson(TextPieces& out, const JsonValue& value);
