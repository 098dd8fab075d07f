// SPDX-License-Identifier: MIT
#include "platform/linux/security/X509Text.h"

#include "foundation/Utf8.h"

#include <openssl/asn1.h>

namespace platform {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

void appendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        c = replacementCharacter;
    }
    const auto put = [&](char32_t byte) { out += static_cast<char>(byte); };
    if (c < 0x80) {
        put(c);
        return;
    }
    if (c < 0x800) {
        put(0xC0 | (c >> 6));
    } else {
        if (c < 0x10000) {
            put(0xE0 | (c >> 12));
        } else {
            put(0xF0 | (c >> 18));
            put(0x80 | ((c >> 12) & 0x3F));
        }
        put(0x80 | ((c >> 6) & 0x3F));
    }
    put(0x80 | (c & 0x3F));
}

std::string fromLatin1(BytesView bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (const std::uint8_t byte : bytes) {
        appendUtf8(out, byte);
    }
    return out;
}

/// The big-endian number of `width` bytes at `place`; no character when it is cut off.
char32_t unitAt(BytesView bytes, std::size_t place, std::size_t width) {
    if (bytes.size() - place < width) {
        return replacementCharacter;
    }
    char32_t unit = 0;
    for (const std::uint8_t byte : bytes.subspan(place, width)) {
        unit = (unit << 8) | byte;
    }
    return unit;
}

std::string fromUtf16(BytesView bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        char32_t c = unitAt(bytes, i, 2);
        if (c >= 0xD800 && c <= 0xDBFF && i + 2 < bytes.size()) {
            const char32_t low = unitAt(bytes, i + 2, 2);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        appendUtf8(out, c);
    }
    return out;
}

std::string fromUtf32(BytesView bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        appendUtf8(out, unitAt(bytes, i, 4));
    }
    return out;
}

std::string hexOfDer(BytesView der) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out = "#";
    for (const std::uint8_t byte : der) {
        out += {digits[byte >> 4], digits[byte & 15]};
    }
    return out;
}

} // namespace

std::string utf8Text(const DerElement& value) {
    if (!value.isUniversal || value.isConstructed) {
        return hexOfDer(value.all);
    }
    switch (value.tag) {
    case V_ASN1_T61STRING:
        return fromLatin1(value.content);
    case V_ASN1_BMPSTRING:
        return fromUtf16(value.content);
    case V_ASN1_UNIVERSALSTRING:
        return fromUtf32(value.content);
    case V_ASN1_UTF8STRING:
    case V_ASN1_PRINTABLESTRING:
    case V_ASN1_IA5STRING:
    case V_ASN1_NUMERICSTRING:
    case V_ASN1_VISIBLESTRING:
        return utf8Repaired(
            {reinterpret_cast<const char*>(value.content.data()), value.content.size()});
    default:
        return hexOfDer(value.all);
    }
}

} // namespace platform
