// SPDX-License-Identifier: MIT
#include "foundation/PercentEncoding.h"

#include <gtest/gtest.h>

namespace {

constexpr std::string_view unreservedAndSubDelimiters
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=";

/// Which bytes an encoding leaves as they are, in the order of their values.
template <typename Encode>
void expectKept(Encode encode, const std::string& kept) {
    static constexpr char digits[] = "0123456789ABCDEF";
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        const std::string escape{'%', digits[value / 16], digits[value % 16]};
        EXPECT_EQ(encode(std::string(1, c)),
            kept.find(c) != std::string::npos ? std::string(1, c) : escape);
    }
}

} // namespace

TEST(PercentEncoding, EscapesAreDecoded) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"a%20b", "a b"},
        {"%41%5a%5A", "AZZ"},
        {"%2F%3f%25", "/?%"},
        {"%2541", "%41"},
        {"%C3%A9%f0%9f%98%80", "\xC3\xA9\xF0\x9F\x98\x80"},
        {"\xC3\xA9", "\xC3\xA9"},
        {"a+b", "a+b"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(percentDecoded(text), expected) << text;
    }
    EXPECT_EQ(percentDecoded("a%00b"), std::string("a\0b", 3));
}

TEST(PercentEncoding, BrokenEscapesAreRefused) {
    for (const char* text : {"%", "a%", "%4", "a%4", "%zz", "%4g", "%g4", "%%41", "% 41", "%-1",
             "%\xC3\xA9", "%4\xC3"}) {
        EXPECT_FALSE(percentDecoded(text)) << text;
    }
}

TEST(PercentEncoding, BytesThatAreNotUtf8AreRefused) {
    for (const char* text : {"%FF", "%C3", "%ED%A0%80", "\xFF", "%C3A9"}) {
        EXPECT_FALSE(percentDecoded(text)) << text;
    }
}

TEST(PercentEncoding, BytesAreDecodedWhateverTheyAre) {
    EXPECT_EQ(percentDecodedBytes("%FF%00a"), std::string("\xFF\0a", 3));
    EXPECT_FALSE(percentDecodedBytes("%F"));
}

TEST(PercentEncoding, EverythingButUnreservedCharactersIsEncodedUnlessKept) {
    EXPECT_EQ(percentEncoded("a/b c-._~\xC3"), "a%2Fb%20c-._~%C3");
    EXPECT_EQ(percentEncoded("a/b:c", "/"), "a/b%3Ac");
}

TEST(PercentEncoding, PathKeepsWhatAPathMayHold) {
    expectKept(percentEncodedPath, std::string(unreservedAndSubDelimiters) + ":@/");
}

TEST(PercentEncoding, HostKeepsWhatAHostMayHold) {
    expectKept(percentEncodedHost, std::string(unreservedAndSubDelimiters));
    EXPECT_EQ(percentEncodedHost("[::1]"), "[::1]");
    EXPECT_EQ(percentEncodedHost("[fe80::1%eth0]"), "[fe80::1%25eth0]");
}

TEST(PercentEncoding, OnlyABracketedHostKeepsColonsAndBrackets) {
    EXPECT_EQ(percentEncodedHost("a:b"), "a%3Ab");
    EXPECT_EQ(percentEncodedHost("[a"), "%5Ba");
    EXPECT_EQ(percentEncodedHost("a]"), "a%5D");
}

TEST(PercentEncoding, DecodingTakesEncodingBack) {
    const std::string text = "/a b/room/r%1?x#\xC3\xA9\xF0\x9F\x98\x80\n\"<>\\^`{|}";
    EXPECT_EQ(percentDecoded(percentEncodedPath(text)), text);
    EXPECT_EQ(percentDecoded(percentEncodedHost(text)), text);
}
