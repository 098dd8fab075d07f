// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqLogPrivacy.h"

#include "foundation/HexEncoding.h"
#include "platform/Platform.h"

namespace {

constexpr std::size_t longestName = 64; // of a member, which is shown

bool isLogRedacted = false;

const JsonText* textOf(const JsonValue& value) {
    return value.as<JsonText>();
}

void addRedacted(LogLine& line, const JsonValue& value) {
    if (const JsonText* text = textOf(value)) {
        line.add(ZqLogPrivacy::summary(text->view()));
    } else if (const auto* number = value.as<JsonNumber>()) {
        line.add(ZqLogPrivacy::summary(number->literal.view()));
    } else if (const auto* object = value.as<JsonObject>()) {
        const char* separator = "{";
        for (const auto& [name, member] : object->members()) {
            line.add(separator).add(name.size() > longestName
                    ? ZqLogPrivacy::summary(name.view())
                    : '"' + std::string(name.view()) + '"');
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

LogLine& ZqLogPrivacy::addOptionalText(LogLine& line, const JsonValue& value) {
    const JsonText* const text = textOf(value);
    if (!isLogRedacted || text == nullptr) {
        return line.addOptionalText(value);
    }
    return line.add("Optional(").add(summary(text->view())).add(")");
}
