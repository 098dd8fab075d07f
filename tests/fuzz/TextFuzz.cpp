// SPDX-License-Identifier: MIT
// What is found out of a text many bytes at a time, compared with looking at one byte after the
// other. Input: the text, at every distance from the beginning of a block.
#include "foundation/CleanText.h"
#include "foundation/JsonEscapes.h"
#include "foundation/JsonValue.h"
#include "foundation/Utf8.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>

using fuzz::require;

namespace {

/// The bytes of the character that `text` begins with; 0 when it is ill-formed. By its value, as
/// RFC 3629 has it.
std::size_t characterLength(std::string_view text) {
    const auto at
        = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned lead = at(0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    unsigned value = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0) != 0x80) {
            return 0;
        }
        value = value << 6 | (at(i) & 0x3F);
    }
    const unsigned least = length == 4 ? 0x10000U : length == 3 ? 0x800U : 0x80U;
    const bool fine = lead >= 0xC0 && lead < 0xF8 && value >= least && value <= 0x10FFFF
        && (value < 0xD800 || value > 0xDFFF);
    return fine ? length : 0;
}

std::size_t wellFormedLength(std::string_view text, bool endsAtNul) {
    std::size_t length = 0;
    while (length < text.size() && !(endsAtNul && text[length] == '\0')) {
        const std::size_t next = characterLength(text.substr(length));
        if (next == 0) {
            break;
        }
        length += next;
    }
    return length;
}

bool needsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

void requireAllFound(std::string_view text) {
    require(utf8PrefixLength(text) == wellFormedLength(text, false), "well-formed UTF-8 is found");
    const std::size_t clean = wellFormedLength(text, true);
    require(CleanText::beginningOf(text).view().size() == clean, "so is its end at a NUL");
    const JudgedText judged(text);
    require(judged.clean().view().size() == clean && judged.view() == text, "once and for all");
    require(judged.rest() == text.substr(clean), "the rest is what is not clean");
    const auto special = std::find_if(text.begin(), text.end(), needsEscape);
    require(jsonPlainPrefixLength(text) == static_cast<std::size_t>(special - text.begin()),
        "the first character to escape is found");
}

} // namespace

void fuzz::target(std::string_view input) {
    const std::size_t step = input.size() > 200 ? 23U : 1U;
    for (std::size_t padding = 0; padding < 70; padding += step) {
        requireAllFound(std::string(padding, 'a') + std::string(input));
    }
    requireAllFound(std::string(input) + std::string(200, 'a'));

    const JsonText text{std::string(input)};
    const std::string_view view = text.view();
    require(isUtf8(view) && (view == input) == isUtf8(input), "a text is repaired if need be");
    require(text.isPlain() == std::none_of(view.begin(), view.end(), needsEscape),
        "a plain text needs no escape");
    require(text.clean().has_value() == (view.find('\0') == view.npos), "a clean text has no NUL");
}
