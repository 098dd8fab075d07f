// SPDX-License-Identifier: MIT
// The debug form of optional values in log lines: "nil", or "Optional(…)" around the value.
#pragma once

#include "foundation/JsonValue.h"
#include "platform/Types.h"

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A log line under construction. Long texts are referred to, not copied; they must outlive it.
class LogLine {
public:
    LogLine& add(std::string_view text);
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
    void addQuoted(std::string_view text);
    void addObject(const JsonObject& object);
    void addArray(const JsonArray& array);
    void endShortText();

    std::deque<std::string> m_shortTexts{std::string()};
    std::vector<std::string_view> m_pieces;
};

template <typename Ref>
std::string debugDescription(const Ref& object) {
    return object ? "Optional(" + object->description() + ")" : std::string("nil");
}
