// SPDX-License-Identifier: MIT
#include "foundation/HexEncoding.h"

std::string hexEncodedString(BytesView data, HexEncodingOptions options) {
    const char* const digits
        = options.contains(HexEncodingOptions::upperCase) ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    text.reserve(data.size() * 2);
    for (const std::uint8_t byte : data) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}
