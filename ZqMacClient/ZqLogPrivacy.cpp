// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqLogPrivacy.h"

#include "foundation/HexEncoding.h"
#include "platform/Platform.h"

#include <algorithm>

namespace {

constexpr std::size_t longestName = 64; // that is shown

bool isLogRedacted = false;

const JsonText* textOf(const JsonValue& value) {
    return value.as<JsonText>();
}

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || std::string_view("-_./:").find(c) != std::string_view::npos;
}

std::string nameOrSummary(std::string_view name) {
    const bool isName
        = name.size() <= longestName && std::all_of(name.begin(), name.end(), isNameCharacter);
    return isName ? std::string(name) : ZqLogPrivacy::summary(name);
}

void addRedacted(LogLine& line, const JsonValue& value) {
    if (const JsonText* text = textOf(value)) {
        line.add(ZqLogPrivacy::summary(text->view()));
    } else if (const auto* number = value.as<JsonNumber>()) {
        line.add(ZqLogPrivacy::summary(number->literal.view()));
    } else if (const auto* object = value.as<JsonObject>()) {
        const char* separator = "{";
        for (const auto& [name, member] : object->members()) {
            line.add(separator).add('"' + nameOrSummary(name.view()) + '"');
            addRedacted(line.add(":"), member);
            separator = ",";
        }
        line.add(object->members().empty() ? "{}" : "}");
    } else if (const auto* array = value.as<JsonArray>()) {
        const char* separator = "[";
        for (const JsonValue& element : *array) {
            addRedacted(line.add(separator), element);
            separator = ",";
        }
        line.add(array->empty() ? "[]" : "]");
    } else {
        line.addValue(value);
    }
}

} // namespace

void ZqLogPrivacy::setRedacted(bool isRedacted) {
    isLogRedacted = isRedacted;
}

std::string ZqLogPrivacy::summary(std::string_view text) {
    return "<" + std::to_string(text.size()) + " bytes, SHA-256 "
        + hexEncodedString(platform::current().system().CC_SHA256(bytesOf(text))) + ">";
}

void ZqLogPrivacy::log(std::string_view label, const JudgedText& text) {
    if (isLogRedacted) {
        platform::NSLog(label, summary(text.view()));
    } else {
        platform::NSLog(label, text.clean(), text.rest());
    }
}

LogLine& ZqLogPrivacy::addText(LogLine& line, const JsonText& text) {
    return isLogRedacted ? line.add(summary(text.view())) : line.addText(text);
}

LogLine& ZqLogPrivacy::addPayload(LogLine& line, const std::optional<JsonValue>& payload) {
    if (!isLogRedacted || !payload) {
        return line.addOptional(payload);
    }
    addRedacted(line.add("Optional("), *payload);
    return line.add(")");
}

LogLine& ZqLogPrivacy::addValue(LogLine& line, const JsonValue& value) {
    if (!isLogRedacted) {
        return line.addValue(value);
    }
    addRedacted(line, value);
    return line;
}

std::string ZqLogPrivacy::text(std::string_view text) {
    return isLogRedacted ? summary(text) : std::string(text);
}

std::string ZqLogPrivacy::name(std::string_view name) {
    return isLogRedacted ? nameOrSummary(name) : std::string(name);
}

LogLine& ZqLogPrivacy::addOptionalText(LogLine& line, const JsonValue& value) {
    const JsonText* const text = textOf(value);
    if (!isLogRedacted || text == nullptr) {
        return line.addOptionalText(value);
    }
    return line.add("Optional(").add(summary(text->view())).add(")");
}
