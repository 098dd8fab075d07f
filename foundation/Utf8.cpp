// SPDX-License-Identifier: MIT
#include "foundation/Utf8.h"

#include "foundation/ByteBlocks.h"

#include <cstdint>

namespace {

struct Sequence {
    std::size_t length; // bytes that belong together: a character, or a maximal ill-formed part
    bool wellFormed;
};

/// Reads one sequence at the start of a text that is not empty.
Sequence readSequence(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80) {
        return {1, true};
    }
    std::size_t length = 0;
    unsigned char low = 0x80; // bounds of the second byte
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : low;
        high = lead == 0xED ? 0x9F : high;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : low;
        high = lead == 0xF4 ? 0x8F : high;
    } else {
        return {1, false};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= text.size() || byteAt(i) < low || byteAt(i) > high) {
            return {i, false};
        }
        low = 0x80;
        high = 0xBF;
    }
    return {length, true};
}

/// The length of the longest well-formed beginning. `asciiLength` gives the length of the ASCII
/// beginning of a text, or of a part of it that ends at a byte which shall end the whole.
template <typename AsciiLength>
std::size_t prefixLength(std::string_view text, AsciiLength asciiLength) {
    std::size_t length = asciiLength(text);
    while (length < text.size() && static_cast<unsigned char>(text[length]) >= 0x80) {
        const Sequence sequence = readSequence(text.substr(length));
        if (!sequence.wellFormed) {
            break;
        }
        length += sequence.length;
        if (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) {
            length += asciiLength(text.substr(length));
        }
    }
    return length;
}

} // namespace

std::size_t utf8PrefixLength(std::string_view text) {
    return prefixLength(text, [](std::string_view rest) {
        return lengthWithout(rest, [](auto byte) { return byte >= std::uint8_t{0x80}; });
    });
}

std::size_t utf8PrefixLengthWithoutNul(std::string_view text) {
    return prefixLength(text, [](std::string_view rest) {
        return lengthWithout(rest,
            [](auto byte) { return (byte >= std::uint8_t{0x80}) | (byte == std::uint8_t{0}); });
    });
}

bool isUtf8(std::string_view text) {
    return utf8PrefixLength(text) == text.size();
}

std::string utf8Repaired(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t fine = utf8PrefixLength(text);
        out += text.substr(0, fine);
        text.remove_prefix(fine);
        if (!text.empty()) {
            text.remove_prefix(readSequence(text).length);
            out += "\xEF\xBF\xBD";
        }
    }
    return out;
}
