// SPDX-License-Identifier: MIT
#include "ZqMacClient/DebugDescription.h"

#include "foundation/JsonWriter.h"
#include "platform/Platform.h"

#include <vector>

LogLine& LogLine::add(std::string_view text) {
    m_text.add(text);
    return *this;
}

LogLine& LogLine::addText(const JsonText& text) {
    m_text.addText(text);
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
    return addOptionalText(text ? JsonValue(*text) : JsonValue(nullptr));
}

LogLine& LogLine::addOptionalText(const JsonValue& value) {
    const auto* text = value.as<JsonText>();
    if (text == nullptr) {
        return add("nil");
    }
    add("Optional(");
    m_text.addQuoted(*text);
    return add(")");
}

LogLine& LogLine::addOptional(const std::optional<Bytes>& data) {
    return data ? add("Optional(" + std::to_string(data->size()) + " bytes)") : add("nil");
}

LogLine& LogLine::addValue(const JsonValue& value) {
    appendJson(m_text, value);
    return *this;
}

void LogLine::write() {
    const std::vector<TextPieces::Piece> pieces = std::move(m_text).take();
    std::vector<platform::LogPiece> line;
    line.reserve(pieces.size());
    for (const auto& [text, clean] : pieces) {
        line.push_back(clean ? platform::LogPiece(*clean) : platform::LogPiece(text.view()));
    }
    platform::current().system().NSLog(line);
}
