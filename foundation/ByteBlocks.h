// SPDX-License-Identifier: MIT
// Looking at many bytes at once, in the vectors that GCC and clang know on every processor.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

using ByteBlock = std::uint8_t __attribute__((vector_size(16)));

inline ByteBlock byteBlockAt(const char* bytes) {
    ByteBlock block;
    std::memcpy(&block, bytes, sizeof block);
    return block;
}

/// Whether a comparison of blocks holds for any of the bytes.
template <typename Mask>
bool holdsForAny(const Mask& mask) {
    std::uint64_t halves[2];
    static_assert(sizeof halves == sizeof mask);
    std::memcpy(halves, &mask, sizeof mask);
    return (halves[0] | halves[1]) != 0;
}

/// The length of the longest beginning of `text` without a byte for which `isSpecial` holds. It is
/// asked of blocks and of single bytes, so it must be made of comparisons, "&" and "|" alone.
template <typename IsSpecial>
std::size_t lengthWithout(std::string_view text, IsSpecial isSpecial) {
    constexpr std::size_t size = sizeof(ByteBlock);
    const char* const bytes = text.data();
    std::size_t length = 0;
    for (; text.size() - length >= 4 * size; length += 4 * size) {
        const char* const at = bytes + length;
        if (holdsForAny(isSpecial(byteBlockAt(at)) | isSpecial(byteBlockAt(at + size))
                | isSpecial(byteBlockAt(at + 2 * size)) | isSpecial(byteBlockAt(at + 3 * size)))) {
            break;
        }
    }
    while (text.size() - length >= size && !holdsForAny(isSpecial(byteBlockAt(bytes + length)))) {
        length += size;
    }
    while (length < text.size() && !isSpecial(static_cast<std::uint8_t>(bytes[length]))) {
        ++length;
    }
    return length;
}
