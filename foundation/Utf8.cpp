// SPDX-License-Identifier: MIT
#include "foundation/Utf8.h"

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

/// Whether a block of bytes is ASCII. It looks at all of them, which compilers turn into a few
/// vector instructions.
template <std::size_t size>
bool isAsciiBlock(const char* block) {
    std::uint8_t seen = 0;
    for (std::size_t i = 0; i < size; ++i) {
        seen = static_cast<std::uint8_t>(seen | static_cast<std::uint8_t>(block[i]));
    }
    return seen < 0x80;
}

template <std::size_t size>
std::size_t asciiBlocksLength(std::string_view text) {
    std::size_t length = 0;
    while (length + size <= text.size() && isAsciiBlock<size>(text.data() + length)) {
        length += size;
    }
    return length;
}

/// The number of ASCII bytes at the start.
std::size_t asciiPrefixLength(std::string_view text) {
    std::size_t length = asciiBlocksLength<64>(text);
    length += asciiBlocksLength<16>(text.substr(length));
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) {
        ++length;
    }
    return length;
}

} // namespace

std::size_t utf8PrefixLength(std::string_view text) {
    std::size_t length = asciiPrefixLength(text);
    while (length < text.size()) {
        const Sequence sequence = readSequence(text.substr(length));
        if (!sequence.wellFormed) {
            break;
        }
        length += sequence.length;
        length += asciiPrefixLength(text.substr(length));
    }
    return length;
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
