// SPDX-License-Identifier: MIT
#include "ZqMacClient/DebugDescription.h"

#include "foundation/JsonWriter.h"
#include "platform/Platform.h"

namespace {

/// Texts from this length on are referred to instead of copied.
constexpr std::size_t longText = 4096;

} // namespace

LogLine& LogLine::add(std::string_view text) {
    if (text.size() < longText) {
        m_shortTexts.back() += text;
    } else {
        endShortText();
        m_pieces.push_back(text);
    }
    return *this;
}

LogLine& LogLine::addOptional(const std::optional<JsonValue>& value) {
    if (!value) {
        return add("nil");
    }
    add("Optional(");
    value->isNull() ? add("<null>") : addValue(*value);
    return add(")");
}

LogLine& LogLine::addOptional(const std::optional<std::string>& text) {
    if (!text) {
        return add("nil");
    }
    add("Optional(");
    addQuoted(*text);
    return add(")");
}

LogLine& LogLine::addOptionalText(const JsonValue& value) {
    const auto* text = value.as<std::string>();
    if (text == nullptr) {
        return add("nil");
    }
    add("Optional(");
    addQuoted(*text);
    return add(")");
}

LogLine& LogLine::addOptional(const std::optional<Bytes>& data) {
    return data ? add("Optional(" + std::to_string(data->size()) + " bytes)") : add("nil");
}

LogLine& LogLine::addValue(const JsonValue& value) {
    if (const auto* text = value.as<std::string>()) {
        addQuoted(*text);
    } else if (const auto* number = value.as<JsonNumber>()) {
        add(number->literal);
    } else if (const auto* truth = value.as<bool>()) {
        add(*truth ? "true" : "false");
    } else if (const auto* object = value.as<JsonObject>()) {
        addObject(*object);
    } else if (const auto* array = value.as<JsonArray>()) {
        addArray(*array);
    } else {
        add("null");
    }
    return *this;
}

void LogLine::write() {
    endShortText();
    platform::current().system().NSLog(m_pieces);
}

void LogLine::addQuoted(std::string_view text) {
    add("\"");
    while (!text.empty()) {
        const std::size_t plain = jsonPlainPrefixLength(text);
        add(text.substr(0, plain));
        text.remove_prefix(plain);
        if (!text.empty()) {
            appendJsonEscape(m_shortTexts.back(), text.front());
            text.remove_prefix(1);
        }
    }
    add("\"");
}

void LogLine::addObject(const JsonObject& object) {
    const char* separator = "{";
    for (const auto& [name, value] : object.members()) {
        add(separator);
        addQuoted(name);
        add(":");
        addValue(value);
        separator = ",";
    }
    add(object.members().empty() ? "{}" : "}");
}

void LogLine::addArray(const JsonArray& array) {
    const char* separator = "[";
    for (const JsonValue& element : array) {
        add(separator);
        addValue(element);
        separator = ",";
    }
    add(array.empty() ? "[]" : "]");
}

/// The short text is complete: it is not changed any more, so a view of it stays valid.
void LogLine::endShortText() {
    if (!m_shortTexts.back().empty()) {
        m_pieces.push_back(m_shortTexts.back());
        m_shortTexts.emplace_back();
    }
}
