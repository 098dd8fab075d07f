// SPDX-License-Identifier: MIT
#include "foundation/JsonWriter.h"

namespace {

constexpr const char* notFinite = "Invalid number value (not finite) in JSON write.";

/// Each call tells whether all numbers were finite.
class Writer {
public:
    explicit Writer(TextPieces& out)
        : m_out(out) { }

    bool write(const JsonValue& value) { return std::visit(*this, value.variant()); }

    bool operator()(std::nullptr_t) { return append("null"); }
    bool operator()(bool value) { return append(value ? "true" : "false"); }

    bool operator()(const JsonNumber& number) {
        append(number.literal.view());
        return number.isFinite;
    }

    bool operator()(const JsonText& text) {
        m_out.addQuoted(text);
        return true;
    }

    bool operator()(const JsonArray& array) {
        bool finite = true;
        std::string_view separator = "[";
        for (const JsonValue& element : array) {
            append(separator);
            finite = write(element) && finite;
            separator = ",";
        }
        return append(array.empty() ? "[]" : "]") && finite;
    }

    bool operator()(const JsonObject& object) {
        bool finite = true;
        std::string_view separator = "{";
        for (const auto& [name, value] : object.members()) {
            append(separator);
            m_out.addQuoted(name);
            append(":");
            finite = write(value) && finite;
            separator = ",";
        }
        return append(object.members().empty() ? "{}" : "}") && finite;
    }

private:
    bool append(std::string_view text) {
        m_out.add(text);
        return true;
    }

    TextPieces& m_out;
};

} // namespace

bool appendJson(TextPieces& out, const JsonValue& value) {
    return Writer(out).write(value);
}

JsonWriteResult writeJson(const JsonValue& value) {
    TextPieces text;
    if (!appendJson(text, value)) {
        return {std::nullopt, notFinite};
    }
    return {text.joined(), {}};
}

JsonWritten<TextPieces> writeJsonObject(std::initializer_list<JsonMemberView> members) {
    static const JsonValue null(nullptr);
    TextPieces text;
    std::string_view separator = "{";
    for (const auto& [name, value] : members) {
        text.add(separator);
        text.addQuoted(name);
        text.add(":");
        if (!appendJson(text, value == nullptr ? null : *value)) {
            return {std::nullopt, notFinite};
        }
        separator = ",";
    }
    text.add(members.size() == 0 ? "{}" : "}");
    return {std::move(text), {}};
}
