// SPDX-License-Identifier: MIT
#include "foundation/PercentEncoding.h"

#include "foundation/Utf8.h"

namespace {

constexpr std::string_view unreserved
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::optional<std::string> percentDecodedBytes(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hexValue(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::optional<std::string> out = percentDecodedBytes(text);
    return out && isUtf8(*out) ? std::move(out) : std::nullopt;
}

std::string percentEncoded(std::string_view text, std::string_view kept) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (unreserved.find(c) != unreserved.npos || kept.find(c) != kept.npos) {
            out += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            out += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return out;
}

std::string percentEncodedPath(std::string_view text) {
    return percentEncoded(text, "!$&'()*+,;=:@/");
}

std::string percentEncodedHost(std::string_view text) {
    const bool isAddress = text.starts_with('[') && text.ends_with(']');
    return percentEncoded(text, isAddress ? "!$&'()*+,;=[]:" : "!$&'()*+,;=");
}
