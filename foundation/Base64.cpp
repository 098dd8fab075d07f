// SPDX-License-Identifier: MIT
#include "foundation/Base64.h"

#include "foundation/ByteBlocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::string_view alphabet
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The two characters of every 12-bit value.
constexpr auto pairs = [] {
    std::array<std::array<char, 2>, 4096> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = {alphabet[i >> 6], alphabet[i & 63]};
    }
    return table;
}();

/// The three bytes that a group of four characters stands for, as they follow each other in memory,
/// and a fourth that is not zero when a character is not in the alphabet.
using Group = std::array<std::uint8_t, 4>;

/// For each place in a group, what a character contributes to it.
constexpr auto places = [] {
    constexpr std::uint32_t invalid = std::bit_cast<std::uint32_t>(Group{0, 0, 0, 0xFF});
    std::array<std::array<std::uint32_t, 256>, 4> table{};
    for (std::size_t place = 0; place < 4; ++place) {
        table[place].fill(invalid);
        for (std::size_t value = 0; value < alphabet.size(); ++value) {
            const std::size_t bits = value << (18 - 6 * place);
            table[place][static_cast<unsigned char>(alphabet[value])]
                = std::bit_cast<std::uint32_t>(Group{static_cast<std::uint8_t>(bits >> 16),
                    static_cast<std::uint8_t>(bits >> 8), static_cast<std::uint8_t>(bits), 0});
        }
    }
    return table;
}();

std::uint32_t groupOf(const char* text) {
    const auto at = [&](std::size_t i) { return places[i][static_cast<unsigned char>(text[i])]; };
    return at(0) | at(1) | at(2) | at(3);
}

/// Eight bytes as a number, the first one highest.
std::uint64_t numberOf(const std::uint8_t* bytes) {
    const auto at = [&](int i) { return std::uint64_t{bytes[i]} << (56 - 8 * i); };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

/// Of a character, or of each of a block.
template <typename Character>
auto isInAlphabet(Character c) {
    const auto letter = c | std::uint8_t{0x20}; // lower case
    return ((letter >= std::uint8_t{'a'}) & (letter <= std::uint8_t{'z'}))
        | ((c >= std::uint8_t{'/'}) & (c <= std::uint8_t{'9'})) | (c == std::uint8_t{'+'});
}

void writePair(char* out, std::uint64_t twelveBits) {
    std::memcpy(out, pairs[twelveBits & 4095].data(), 2);
}

} // namespace

std::string base64Encoded(BytesView data) {
    std::string text((data.size() + 2) / 3 * 4, '\0');
    char* out = text.data();
    const std::uint8_t* in = data.data();
    std::size_t left = data.size();
    // Six bytes at a time; reading eight is quicker.
    for (; left >= 8; left -= 6, in += 6, out += 8) {
        const std::uint64_t bits = numberOf(in);
        writePair(out, bits >> 52);
        writePair(out + 2, bits >> 40);
        writePair(out + 4, bits >> 28);
        writePair(out + 6, bits >> 16);
    }
    while (left > 0) {
        std::array<std::uint8_t, 8> rest{};
        const std::size_t taken = std::min<std::size_t>(left, 3);
        std::memcpy(rest.data(), in, taken);
        const std::uint64_t bits = numberOf(rest.data());
        writePair(out, bits >> 52);
        writePair(out + 2, bits >> 40);
        std::fill(out + taken + 1, out + 4, '=');
        in += taken;
        left -= taken;
        out += 4;
    }
    return text;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    if (text.empty()) {
        return Bytes();
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    Bytes data(text.size() / 4 * 3 - padding);
    const char* in = text.data();
    const char* const last = in + text.size() - 4;
    std::uint8_t* out = data.data();
    std::uint32_t seen = 0;
    for (; in < last; in += 4, out += 3) {
        const std::uint32_t group = groupOf(in);
        seen |= group;
        std::memcpy(out, &group, 4); // the fourth byte is written over by the next group
    }
    std::array<char, 4> end{'A', 'A', 'A', 'A'};
    std::memcpy(end.data(), last, 4 - padding);
    const std::uint32_t group = groupOf(end.data());
    seen |= group;
    std::memcpy(out, &group, 3 - padding);
    if (std::bit_cast<Group>(seen)[3] != 0) {
        return std::nullopt;
    }
    return data;
}

std::optional<JsonText> base64Canonical(const JsonText& text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    // All groups but the last hold no padding and no unused bits.
    const std::size_t before = text.size() - std::min<std::size_t>(text.size(), 4);
    const std::string_view groups = text.view().substr(0, before);
    const std::string_view last = text.view().substr(before);
    const std::optional<Bytes> end = base64Decoded(last);
    if (!end || lengthWithout(groups, [](auto c) { return !isInAlphabet(c); }) != before) {
        return std::nullopt;
    }
    const std::string canonicalEnd = base64Encoded(*end);
    return canonicalEnd == last ? text : JsonText(std::string(groups) + canonicalEnd);
}
