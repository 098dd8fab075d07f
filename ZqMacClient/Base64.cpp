// SPDX-License-Identifier: MIT
#include "ZqMacClient/Base64.h"

#include <array>
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

constexpr std::uint32_t invalid = 0x80000000U;

/// For each place in a group of four, a character's six bits where they belong in 24.
constexpr auto places = [] {
    std::array<std::array<std::uint32_t, 256>, 4> table{};
    for (std::size_t place = 0; place < 4; ++place) {
        table[place].fill(invalid);
        for (std::size_t value = 0; value < alphabet.size(); ++value) {
            table[place][static_cast<unsigned char>(alphabet[value])]
                = static_cast<std::uint32_t>(value << (18 - 6 * place));
        }
    }
    return table;
}();

std::uint32_t groupValue(const char* group) {
    const auto at = [&](std::size_t i) { return places[i][static_cast<unsigned char>(group[i])]; };
    return at(0) | at(1) | at(2) | at(3);
}

} // namespace

std::string base64Encoded(platform::BytesView data) {
    std::string text((data.size() + 2) / 3 * 4, '=');
    char* out = text.data();
    std::size_t i = 0;
    for (; i + 3 <= data.size(); i += 3, out += 4) {
        const std::uint32_t bits = (std::uint32_t{data[i]} << 16)
            | (std::uint32_t{data[i + 1]} << 8) | std::uint32_t{data[i + 2]};
        std::memcpy(out, pairs[bits >> 12].data(), 2);
        std::memcpy(out + 2, pairs[bits & 4095].data(), 2);
    }
    if (const std::size_t rest = data.size() - i; rest > 0) {
        const std::uint32_t bits
            = (std::uint32_t{data[i]} << 16) | (rest == 2 ? std::uint32_t{data[i + 1]} << 8 : 0U);
        std::memcpy(out, pairs[bits >> 12].data(), 2);
        if (rest == 2) {
            out[2] = pairs[bits & 4095][0];
        }
    }
    return text;
}

std::optional<platform::Bytes> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    if (text.empty()) {
        return platform::Bytes();
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    platform::Bytes data(text.size() / 4 * 3 - padding);
    std::uint8_t* out = data.data();
    const std::size_t fullGroups = text.size() / 4 - (padding > 0 ? 1 : 0);
    std::uint32_t seen = 0;
    for (std::size_t group = 0; group < fullGroups; ++group, out += 3) {
        const std::uint32_t bits = groupValue(text.data() + group * 4);
        seen |= bits;
        out[0] = static_cast<std::uint8_t>(bits >> 16);
        out[1] = static_cast<std::uint8_t>(bits >> 8);
        out[2] = static_cast<std::uint8_t>(bits);
    }
    if (padding > 0) {
        std::array<char, 4> last{};
        std::memcpy(last.data(), text.data() + fullGroups * 4, 4);
        std::memset(last.data() + 4 - padding, 'A', padding);
        const std::uint32_t bits = groupValue(last.data());
        seen |= bits;
        out[0] = static_cast<std::uint8_t>(bits >> 16);
        if (padding == 1) {
            out[1] = static_cast<std::uint8_t>(bits >> 8);
        }
    }
    if ((seen & invalid) != 0) {
        return std::nullopt;
    }
    return data;
}
