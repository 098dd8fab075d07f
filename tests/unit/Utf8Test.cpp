// SPDX-License-Identifier: MIT
#include "foundation/Utf8.h"

#include <gtest/gtest.h>

namespace {

std::string encodedCodePoint(std::uint32_t code) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    if (code < 0x80) {
        return {byte(code)};
    }
    if (code < 0x800) {
        return {byte(0xC0 | (code >> 6)), byte(0x80 | (code & 0x3F))};
    }
    if (code < 0x10000) {
        return {byte(0xE0 | (code >> 12)), byte(0x80 | ((code >> 6) & 0x3F)),
            byte(0x80 | (code & 0x3F))};
    }
    return {byte(0xF0 | (code >> 18)), byte(0x80 | ((code >> 12) & 0x3F)),
        byte(0x80 | ((code >> 6) & 0x3F)), byte(0x80 | (code & 0x3F))};
}

/// "#" for every replacement character.
std::string repairedShort(std::string_view text) {
    std::string out = utf8Repaired(text);
    const std::string replacement = "\xEF\xBF\xBD";
    for (std::size_t at = out.find(replacement); at != std::string::npos;
         at = out.find(replacement, at + 1)) {
        out.replace(at, replacement.size(), "#");
    }
    return out;
}

} // namespace

TEST(Utf8, EveryScalarValueIsWellFormedAndNoSurrogateIs) {
    for (std::uint32_t code = 0; code <= 0x110010; ++code) {
        const bool isScalar = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        ASSERT_EQ(isUtf8(encodedCodePoint(code)), isScalar) << code;
    }
}

TEST(Utf8, TextsOfWellFormedPartsAreWellFormed) {
    EXPECT_TRUE(isUtf8(""));
    EXPECT_TRUE(isUtf8("plain text that is longer than eight bytes"));
    EXPECT_TRUE(isUtf8(std::string("\0a\0", 3)));
    EXPECT_TRUE(isUtf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z"));
}

TEST(Utf8, IllFormedSequencesAreFound) {
    for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xC2\xC2",
             "\xE0\x9F\xBF", "\xE1\x80", "\xE1\x80\x41", "\xED\xA0\x80", "\xED\xBF\xBF",
             "\xF0\x8F\xBF\xBF", "\xF1\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE",
             "\xFF", "\xE2\x28\xA1", "\xF0\x9F\x98"}) {
        EXPECT_FALSE(isUtf8(text)) << text;
        EXPECT_FALSE(isUtf8(std::string("12345678") + text + "12345678")) << text;
    }
}

TEST(Utf8, PrefixEndsBeforeTheFirstIllFormedPart) {
    for (std::size_t before = 0; before < 20; ++before) {
        for (const char* good : {"a", "\xC3\xA9"}) {
            std::string text;
            for (std::size_t i = 0; i < before; ++i) {
                text += good;
            }
            const std::size_t length = text.size();
            EXPECT_EQ(utf8PrefixLength(text), length);
            EXPECT_EQ(utf8PrefixLength(text + "\xFFtail of the text"), length);
            EXPECT_EQ(utf8PrefixLength(text + "\xE2\x82"), length);
        }
    }
}

TEST(Utf8, IllFormedByteIsFoundAtEveryPlace) {
    for (std::size_t place = 0; place < 170; ++place) {
        std::string text(170, 'a');
        text[place] = '\xFF';
        EXPECT_EQ(utf8PrefixLength(text), place);
        EXPECT_EQ(repairedShort(text).find('#'), place);
    }
}

TEST(Utf8, EachMaximalIllFormedPartBecomesOneReplacement) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"fine \xE2\x82\xAC", "fine \xE2\x82\xAC"},
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "########A"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "########A"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "#####A##B"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "####A"},
        {"a\xF1\x80\x80\xE1\x80\xC2"
         "b\x80"
         "c\x80\xBF"
         "d",
            "a###b#c##d"},
        {"end \xF0\x9F\x98", "end #"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(repairedShort(text), expected);
    }
}

TEST(Utf8, RepairedTextIsWellFormed) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second), '\x80'};
            ASSERT_TRUE(isUtf8(utf8Repaired(text)));
            ASSERT_EQ(utf8Repaired(text) == text, isUtf8(text));
        }
    }
}
