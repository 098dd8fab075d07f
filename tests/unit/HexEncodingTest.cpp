// SPDX-License-Identifier: MIT
#include "foundation/HexEncoding.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Options = HexEncodingOptions;

constexpr Options upperCase = Options::upperCase;
constexpr Options second{std::intptr_t{2}};

TEST(HexEncodingTest, EmptyBufferYieldsEmptyText) {
    EXPECT_EQ(hexEncodedString(Bytes{}), "");
    EXPECT_EQ(hexEncodedString(Bytes{}, upperCase), "");
}

TEST(HexEncodingTest, LowerCaseWithLeadingZerosIsTheDefault) {
    EXPECT_EQ(hexEncodedString(Bytes{0x00, 0x0F, 0xA0, 0xFF}), "000fa0ff");
}

TEST(HexEncodingTest, UpperCaseIsAnOption) {
    EXPECT_EQ(hexEncodedString(Bytes{0x00, 0x0F, 0xA0, 0xFF}, upperCase), "000FA0FF");
}

TEST(HexEncodingTest, OnlyTheUpperCaseOptionSelectsUpperCase) {
    EXPECT_EQ(hexEncodedString(Bytes{0xAB}, second), "ab");
    EXPECT_EQ(hexEncodedString(Bytes{0xAB}, {upperCase, second}), "AB");
}

TEST(HexEncodingTest, EveryByteGivesTwoDigitsAndNothingBetween) {
    Bytes bytes;
    std::string expected;
    for (unsigned value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        expected += "0123456789abcdef"[value / 16];
        expected += "0123456789abcdef"[value % 16];
    }
    EXPECT_EQ(hexEncodedString(bytes), expected);
    EXPECT_EQ(expected.size(), 2 * bytes.size());
}

TEST(HexEncodingOptionsTest, UpperCaseIsBitZeroOfASignedWord) {
    EXPECT_EQ(upperCase.rawValue, 1);
    EXPECT_TRUE((std::is_same_v<decltype(Options::rawValue), std::intptr_t>));
    EXPECT_EQ(sizeof(Options::rawValue), sizeof(void*));
}

TEST(HexEncodingOptionsTest, StartsEmptyOrFromAList) {
    EXPECT_EQ(Options().rawValue, 0);
    EXPECT_TRUE(Options().isEmpty());
    EXPECT_EQ((Options{upperCase, second}).rawValue, 3);
    EXPECT_EQ(Options({}).rawValue, 0);
    EXPECT_FALSE(upperCase.isEmpty());
}

TEST(HexEncodingOptionsTest, Combines) {
    const Options both{upperCase, second};
    EXPECT_EQ(upperCase.unionWith(second), both);
    EXPECT_EQ(both.intersection(second), second);
    EXPECT_EQ(both.symmetricDifference(second), upperCase);
    EXPECT_EQ(upperCase.symmetricDifference(second), both);
    EXPECT_EQ(both.subtracting(second), upperCase);
    EXPECT_EQ(upperCase.subtracting(second), upperCase);
}

TEST(HexEncodingOptionsTest, Compares) {
    const Options both{upperCase, second};
    EXPECT_TRUE(both.contains(upperCase));
    EXPECT_FALSE(upperCase.contains(both));
    EXPECT_TRUE(upperCase.contains(Options()));
    EXPECT_TRUE(upperCase.isSubset(both));
    EXPECT_FALSE(both.isSubset(upperCase));
    EXPECT_TRUE(both.isSuperset(upperCase));
    EXPECT_FALSE(upperCase.isSuperset(both));
    EXPECT_TRUE(upperCase.isDisjoint(second));
    EXPECT_FALSE(upperCase.isDisjoint(both));
    EXPECT_NE(upperCase, second);
}

TEST(HexEncodingOptionsTest, InsertTellsWhetherTheOptionWasNew) {
    Options options;
    EXPECT_TRUE(options.insert(upperCase));
    EXPECT_FALSE(options.insert(upperCase));
    EXPECT_EQ(options, upperCase);
}

TEST(HexEncodingOptionsTest, RemoveReturnsWhatWasThere) {
    Options options{upperCase, second};
    EXPECT_EQ(options.remove(second), second);
    EXPECT_EQ(options.remove(second), Options());
    EXPECT_EQ(options, upperCase);
}

TEST(HexEncodingOptionsTest, UpdateReturnsWhatWasThere) {
    Options options;
    EXPECT_EQ(options.update(second), Options());
    EXPECT_EQ(options.update(second), second);
    EXPECT_EQ(options, second);
}

} // namespace
