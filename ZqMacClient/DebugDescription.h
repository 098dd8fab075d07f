// SPDX-License-Identifier: MIT
// The debug form of optional values in log lines: "nil", or "Optional(…)" around the value.
#pragma once

#include "foundation/JsonValue.h"
#include "foundation/TextPieces.h"
#include "platform/Types.h"

#include <optional>
#include <string>
#include <string_view>

/// A log line under construction. It holds all that it is given: long texts of JSON values together
/// with their other holders, everything else as copies.
class LogLine {
public:
    LogLine& add(std::string_view text);
    LogLine& addText(const JsonText& text);
    LogLine& addOptional(const std::optional<JsonValue>& value);
    /// Quoted.
    LogLine& addOptional(const std::optional<std::string>& text);
    /// A text, or nil for any other value.
    LogLine& addOptionalText(const JsonValue& value);
    /// By its length.
    LogLine& addOptional(const std::optional<Bytes>& data);
    LogLine& addValue(const JsonValue& value);

    void write();

private:
    TextPieces m_text;
};

template <typename Ref>
std::string debugDescription(const Ref& object) {
    return object ? "Optional(" + object->description() + ")" : std::string("nil");
}
