// SPDX-License-Identifier: MIT
#include "foundation/JsonWriter.h"

#include "foundation/Utf8.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr const char* notFinite = "Invalid number value (not finite) in JSON write.";

bool isPlain(char c) {
    return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
}

/// Whether a block of characters needs no escape. It looks at all of them, which compilers turn
/// into a few vector instructions.
template <std::size_t size>
bool isPlainBlock(const char* block) {
    std::uint8_t special = 0;
    for (std::size_t i = 0; i < size; ++i) {
        special = static_cast<std::uint8_t>(special | (isPlain(block[i]) ? 0 : 1));
    }
    return special == 0;
}

template <std::size_t size>
std::size_t plainBlocksLength(std::string_view text) {
    std::size_t length = 0;
    while (length + size <= text.size() && isPlainBlock<size>(text.data() + length)) {
        length += size;
    }
    return length;
}

/// About what the text of a value takes, exact where nothing is escaped or repaired.
std::size_t sizeBound(const JsonValue& value) {
    if (const auto* text = value.as<std::string>()) {
        const std::size_t plain = jsonPlainPrefixLength(*text);
        return plain == text->size() ? plain + 2 : plain + (text->size() - plain) * 2 + 2;
    }
    if (const auto* number = value.as<JsonNumber>()) {
        return number->literal.size();
    }
    std::size_t size = 8;
    if (const auto* array = value.as<JsonArray>()) {
        for (const JsonValue& element : *array) {
            size += sizeBound(element) + 1;
        }
    } else if (const auto* object = value.as<JsonObject>()) {
        for (const auto& [name, member] : object->members()) {
            size += name.size() + 4 + sizeBound(member);
        }
    }
    return size;
}

class Writer {
public:
    explicit Writer(std::string& out)
        : m_out(out) { }

    bool operator()(std::nullptr_t) { return append("null"); }
    bool operator()(bool value) { return append(value ? "true" : "false"); }

    bool operator()(const JsonNumber& number) {
        const char last = number.literal.empty() ? '\0' : number.literal.back();
        return last >= '0' && last <= '9' && append(number.literal);
    }

    bool operator()(const std::string& text) {
        m_out += '"';
        if (isUtf8(text)) {
            appendEscaped(text);
        } else {
            appendEscaped(utf8Repaired(text));
        }
        m_out += '"';
        return true;
    }

    bool operator()(const JsonArray& array) {
        m_out += '[';
        for (const JsonValue& element : array) {
            separate('[');
            if (!write(element)) {
                return false;
            }
        }
        return append("]");
    }

    bool operator()(const JsonObject& object) {
        m_out += '{';
        for (const auto& [name, member] : object.members()) {
            separate('{');
            (*this)(name);
            m_out += ':';
            if (!write(member)) {
                return false;
            }
        }
        return append("}");
    }

    bool write(const JsonValue& value) { return std::visit(*this, value.variant()); }

private:
    bool append(std::string_view text) {
        m_out += text;
        return true;
    }

    /// A text never ends the output here, so an opening bracket as last character is structural.
    void separate(char opening) {
        if (m_out.back() != opening) {
            m_out += ',';
        }
    }

    void appendEscaped(std::string_view text) {
        while (!text.empty()) {
            const std::size_t plain = jsonPlainPrefixLength(text);
            m_out += text.substr(0, plain);
            text.remove_prefix(plain);
            if (!text.empty()) {
                appendJsonEscape(m_out, text.front());
                text.remove_prefix(1);
            }
        }
    }

    std::string& m_out;
};

} // namespace

std::size_t jsonPlainPrefixLength(std::string_view text) {
    std::size_t length = plainBlocksLength<64>(text);
    length += plainBlocksLength<16>(text.substr(length));
    while (length < text.size() && isPlain(text[length])) {
        ++length;
    }
    return length;
}

void appendJsonEscape(std::string& out, char c) {
    static constexpr std::string_view names = "\"\"\\\\\bb\ff\nn\rr\tt";
    for (std::size_t i = 0; i < names.size(); i += 2) {
        if (names[i] == c) {
            out += '\\';
            out += names[i + 1];
            return;
        }
    }
    static constexpr char digits[] = "0123456789abcdef";
    out += "\\u00";
    out += digits[static_cast<unsigned char>(c) >> 4];
    out += digits[static_cast<unsigned char>(c) & 15];
}

JsonWriteResult writeJson(const JsonValue& value) {
    std::string text;
    text.reserve(sizeBound(value));
    if (!Writer(text).write(value)) {
        return {std::nullopt, notFinite};
    }
    return {std::move(text), {}};
}

JsonWriteResult writeJsonObject(std::initializer_list<JsonMemberView> members) {
    static const JsonValue null(nullptr);
    std::size_t bound = 2;
    for (const JsonMemberView& member : members) {
        bound += member.name.size() + 4 + sizeBound(member.value == nullptr ? null : *member.value);
    }
    std::string text;
    text.reserve(bound);
    for (const JsonMemberView& member : members) {
        text += text.empty() ? "{" : ",";
        Writer writer(text);
        writer(std::string(member.name));
        text += ':';
        if (!writer.write(member.value == nullptr ? null : *member.value)) {
            return {std::nullopt, notFinite};
        }
    }
    text += text.empty() ? "{}" : "}";
    return {std::move(text), {}};
}
