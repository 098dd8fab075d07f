// SPDX-License-Identifier: MIT
#include "foundation/JsonEscapes.h"

#include "foundation/ByteBlocks.h"

#include <algorithm>

namespace {

constexpr std::string_view names = "\"\"\\\\\bb\ff\nn\rr\tt"; // each character, then its letter

void appendEscape(std::string& out, char c) {
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

std::size_t escapedLength(std::string_view text) {
    std::size_t length = text.size();
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            ++length;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            length += c == '\b' || c == '\f' || c == '\n' || c == '\r' || c == '\t' ? 1 : 5;
        }
    }
    return length;
}

} // namespace

std::optional<char> jsonEscapedCharacter(char letter) {
    if (letter == '/') {
        return letter;
    }
    for (std::size_t i = 0; i < names.size(); i += 2) {
        if (names[i + 1] == letter) {
            return names[i];
        }
    }
    return std::nullopt;
}

char* putUtf8(char* out, std::uint32_t codePoint) {
    const auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
    if (codePoint < 0x80) {
        put(codePoint);
        return out;
    }
    if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < 0x10000) {
            put(0xE0 | codePoint >> 12);
        } else {
            put(0xF0 | codePoint >> 18);
            put(0x80 | (codePoint >> 12 & 0x3F));
        }
        put(0x80 | (codePoint >> 6 & 0x3F));
    }
    put(0x80 | (codePoint & 0x3F));
    return out;
}

std::size_t jsonPlainPrefixLength(std::string_view text) {
    return lengthWithout(text, [](auto byte) {
        return (byte < std::uint8_t{0x20}) | (byte == std::uint8_t{'"'})
            | (byte == std::uint8_t{'\\'});
    });
}

void appendJsonEscaped(std::string& out, std::string_view text) {
    out.reserve(std::max(out.capacity(), out.size() + escapedLength(text) + 64));
    while (!text.empty()) {
        const std::size_t plain = jsonPlainPrefixLength(text);
        out += text.substr(0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) {
            appendEscape(out, text.front());
            text.remove_prefix(1);
        }
    }
}
