// SPDX-License-Identifier: MIT
#include "devserver/program/ConsoleStream.h"

#include <sstream>

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

std::string shown(const std::string& text) {
    std::ostringstream console;
    ConsoleStream stream(console);
    stream << text << std::flush;
    return console.str();
}

TEST(ConsoleStreamTest, TextIsWrittenAsItStands) {
    const std::string text = "a\tb\n\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xC2\xA0";
    EXPECT_EQ(shown(text), text);
}

TEST(ConsoleStreamTest, ControlCharactersAreNot) {
    EXPECT_EQ(shown("a\x1b[31m\r\x7f\b"), "a?[31m???");
    EXPECT_EQ(shown("\xC2\x9B"
                    "31m\xC2\x80\xC2\x9F"),
        "?31m??");
}

TEST(ConsoleStreamTest, WhatIsNoUtf8IsNot) {
    EXPECT_EQ(shown("\x9B"
                    "31m"),
        "?31m");
    EXPECT_EQ(shown("\xC2\x1b"), "??");
    EXPECT_EQ(shown("\xE2\x82z\xFF\xC0"), "?z??");
    EXPECT_EQ(shown("\xC2\xC2\x9B"), "??");
}

TEST(ConsoleStreamTest, CharactersWrittenInPartsAreSeenWhole) {
    std::ostringstream console;
    ConsoleStream stream(console);
    stream << '\xC2' << std::flush << '\x9B' << '\xC3' << '\xA9';
    EXPECT_EQ(console.str(), "?\xC3\xA9");
}

} // namespace
} // namespace devserver::test
