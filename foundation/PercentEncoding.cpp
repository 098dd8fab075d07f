// SPDX-License-Identifier: MIT
#include "foundation/PercentEncoding.h"

#include "foundation/Utf8.h"

namespace {

constexpr std::string_view unreserved
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
constexpr std::string_view subDelimiters = "!$&'()*+,;=";

std::string encoded(std::string_view text, std::string_view furtherAllowed) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto isIn = [c](std::string_view set) { return set.find(c) != set.npos; };
        if (isIn(unreserved) || isIn(subDelimiters) || isIn(furtherAllowed)) {
            out += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            out += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
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
    if (!isUtf8(out)) {
        return std::nullopt;
    }
    return out;
}

std::string percentEncodedPath(std::string_view text) {
    return encoded(text, ":@/");
}

std::string percentEncodedHost(std::string_view text) {
    const bool isAddress = text.starts_with('[') && text.ends_with(']');
    return encoded(text, isAddress ? "[]:" : "");
}
