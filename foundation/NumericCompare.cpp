// SPDX-License-Identifier: MIT
#include "foundation/NumericCompare.h"

#include "foundation/Ascii.h"
#include "foundation/Utf8.h"

#include <compare>
#include <cstdint>
#include <string>

namespace {

std::u16string utf16(std::string_view text) {
    const std::string wellFormed = utf8Repaired(text);
    std::u16string units;
    for (std::size_t i = 0; i < wellFormed.size();) {
        const auto lead = static_cast<unsigned char>(wellFormed[i++]);
        const int following = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        std::uint32_t code = following == 0 ? lead : lead & (0x3FU >> following);
        for (int n = 0; n < following; ++n) {
            code = (code << 6) | (static_cast<unsigned char>(wellFormed[i++]) & 0x3FU);
        }
        if (code >= 0x10000) {
            units += static_cast<char16_t>(0xD7C0 + (code >> 10));
            code = 0xDC00 + (code & 0x3FF);
        }
        units += static_cast<char16_t>(code);
    }
    return units;
}

/// Takes the run of digits at the start, without its leading zeros.
std::u16string_view takeNumber(std::u16string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && isDigit(text[length])) {
        ++length;
    }
    std::u16string_view digits = text.substr(0, length);
    text.remove_prefix(length);
    while (!digits.empty() && digits.front() == u'0') {
        digits.remove_prefix(1);
    }
    return digits;
}

std::strong_ordering compareNumbers(std::u16string_view left, std::u16string_view right) {
    return left.size() != right.size() ? left.size() <=> right.size() : left.compare(right) <=> 0;
}

std::strong_ordering compareUnits(std::u16string_view left, std::u16string_view right) {
    while (!left.empty() && !right.empty()) {
        std::strong_ordering order = std::strong_ordering::equal;
        if (isDigit(left.front()) && isDigit(right.front())) {
            const std::u16string_view leftNumber = takeNumber(left);
            order = compareNumbers(leftNumber, takeNumber(right));
        } else {
            order = left.front() <=> right.front();
            left.remove_prefix(1);
            right.remove_prefix(1);
        }
        if (order != std::strong_ordering::equal) {
            return order;
        }
    }
    return left.size() <=> right.size();
}

} // namespace

NSComparisonResult numericCompare(std::string_view left, std::string_view right) {
    const std::strong_ordering order = compareUnits(utf16(left), utf16(right));
    return order < 0 ? NSComparisonResult::orderedAscending
        : order > 0  ? NSComparisonResult::orderedDescending
                     : NSComparisonResult::orderedSame;
}
