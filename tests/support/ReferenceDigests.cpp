// SPDX-License-Identifier: MIT
#include "tests/support/ReferenceDigests.h"

#include <bit>
#include <cmath>

namespace {

using Words = std::array<std::uint32_t, 16>;

/// The message with its padding, in blocks of sixteen big-endian words.
std::vector<Words> paddedBlocks(BytesView data) {
    Bytes padded(data.begin(), data.end());
    padded.push_back(0x80);
    while (padded.size() % 64 != 56) {
        padded.push_back(0);
    }
    for (int shift = 56; shift >= 0; shift -= 8) {
        padded.push_back(static_cast<std::uint8_t>((std::uint64_t{data.size()} * 8) >> shift));
    }
    std::vector<Words> blocks(padded.size() / 64);
    for (std::size_t i = 0; i < padded.size(); ++i) {
        std::uint32_t& word = blocks[i / 64][i % 64 / 4];
        word = (word << 8) | padded[i];
    }
    return blocks;
}

template <std::size_t words>
std::array<std::uint8_t, words * 4> bytesOfWords(const std::array<std::uint32_t, words>& state) {
    std::array<std::uint8_t, words * 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
    }
    return bytes;
}

std::uint32_t fractionBits(double root) {
    return static_cast<std::uint32_t>((root - std::floor(root)) * 4294967296.0);
}

/// The round constants: the fractions of the cube roots of the first 64 primes.
std::array<std::uint32_t, 64> sha256Constants() {
    std::array<std::uint32_t, 64> constants{};
    int candidate = 2;
    for (std::uint32_t& constant : constants) {
        const auto isComposite = [&] {
            for (int divisor = 2; divisor < candidate; ++divisor) {
                if (candidate % divisor == 0) {
                    return true;
                }
            }
            return false;
        };
        while (isComposite()) {
            ++candidate;
        }
        constant = fractionBits(std::cbrt(candidate));
        ++candidate;
    }
    return constants;
}

} // namespace

std::array<std::uint8_t, 20> referenceSha1(BytesView data) {
    std::array<std::uint32_t, 5> h{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    for (const Words& block : paddedBlocks(data)) {
        std::array<std::uint32_t, 80> w{};
        for (std::size_t t = 0; t < 80; ++t) {
            w[t] = t < 16 ? block[t] : std::rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        }
        auto [a, b, c, d, e] = h;
        for (std::size_t t = 0; t < 80; ++t) {
            const std::uint32_t f = t < 20 ? (b & c) | (~b & d)
                : t >= 40 && t < 60        ? (b & c) | (b & d) | (c & d)
                                           : b ^ c ^ d;
            constexpr std::array<std::uint32_t, 4> k{
                0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};
            const std::uint32_t next = std::rotl(a, 5) + f + e + k[t / 20] + w[t];
            e = d;
            d = c;
            c = std::rotl(b, 30);
            b = a;
            a = next;
        }
        h = {h[0] + a, h[1] + b, h[2] + c, h[3] + d, h[4] + e};
    }
    return bytesOfWords(h);
}

std::array<std::uint8_t, 32> referenceSha256(BytesView data) {
    static const std::array<std::uint32_t, 64> k = sha256Constants();
    std::array<std::uint32_t, 8> h{};
    constexpr std::array<int, 8> primes{2, 3, 5, 7, 11, 13, 17, 19};
    for (std::size_t i = 0; i < 8; ++i) {
        h[i] = fractionBits(std::sqrt(primes[i]));
    }
    for (const Words& block : paddedBlocks(data)) {
        std::array<std::uint32_t, 64> w{};
        for (std::size_t t = 0; t < 64; ++t) {
            if (t < 16) {
                w[t] = block[t];
                continue;
            }
            const std::uint32_t s0
                = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
            const std::uint32_t s1
                = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
            w[t] = w[t - 16] + s0 + w[t - 7] + s1;
        }
        std::array<std::uint32_t, 8> v = h;
        for (std::size_t t = 0; t < 64; ++t) {
            const std::uint32_t s1 = std::rotr(v[4], 6) ^ std::rotr(v[4], 11) ^ std::rotr(v[4], 25);
            const std::uint32_t choice = (v[4] & v[5]) ^ (~v[4] & v[6]);
            const std::uint32_t t1 = v[7] + s1 + choice + k[t] + w[t];
            const std::uint32_t s0 = std::rotr(v[0], 2) ^ std::rotr(v[0], 13) ^ std::rotr(v[0], 22);
            const std::uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
            v = {t1 + s0 + majority, v[0], v[1], v[2], v[3] + t1, v[4], v[5], v[6]};
        }
        for (std::size_t i = 0; i < 8; ++i) {
            h[i] += v[i];
        }
    }
    return bytesOfWords(h);
}
