// SPDX-License-Identifier: MIT
#include "foundation/NumericCompare.h"

#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

struct Case {
    const char* name;
    std::string left;
    std::string right;
    NSComparisonResult expected;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << '"' << c.left << "\" and \"" << c.right << '"';
}

constexpr auto ascending = NSComparisonResult::orderedAscending;
constexpr auto same = NSComparisonResult::orderedSame;

class NumericCompareTest : public testing::TestWithParam<Case> { };

NSComparisonResult reversed(NSComparisonResult result) {
    return static_cast<NSComparisonResult>(-static_cast<int>(result));
}

TEST_P(NumericCompareTest, OrdersBothWays) {
    const Case& c = GetParam();
    EXPECT_EQ(numericCompare(c.left, c.right), c.expected);
    EXPECT_EQ(numericCompare(c.right, c.left), reversed(c.expected));
}

INSTANTIATE_TEST_SUITE_P(Rules, NumericCompareTest,
    testing::Values(Case{"EqualTexts", "1.9", "1.9", same}, Case{"EmptyTexts", "", "", same},
        Case{"EmptyIsEarlier", "", "0", ascending},
        Case{"RunsOfDigitsCompareByValue", "1.9", "1.10", ascending},
        Case{"EarlierRunsDecideFirst", "1.10.9", "2.0.0", ascending},
        Case{"LaterRunsDecideWhenEarlierAreEqual", "1.2.9", "1.2.10", ascending},
        Case{"LeadingZerosDoNotCount", "1.09", "1.9", same},
        Case{"LeadingZerosDoNotMakeARunLonger", "1.0009", "1.10", ascending},
        Case{"ZerosAreEqual", "1.000", "1.0", same},
        Case{"ZeroIsEarlierThanOne", "1.00", "1.1", ascending},
        Case{"WhatFollowsEqualRunsDecides", "1.09a", "1.9b", ascending},
        Case{"RunsLongerThanAnyMachineWord", "1.99999999999999999999999999999999999999",
            "1.100000000000000000000000000000000000000", ascending},
        Case{"LongRunsDifferInTheirLastDigit", "340282366920938463463374607431768211455",
            "340282366920938463463374607431768211456", ascending},
        Case{"ABeginningIsEarlier", "1.9", "1.9.0", ascending},
        Case{"ABeginningInLettersIsEarlier", "1.9", "1.9b", ascending},
        Case{"ADigitAgainstAnotherCharacterComparesByCode", "1.9", "1.a", ascending},
        Case{"APointIsEarlierThanADigit", "1..9", "1.0", ascending},
        Case{"LettersCompareByCodeUnitCaseIncluded", "B1", "a1", ascending},
        Case{"OtherScriptsDigitsAreNoDigits", "\xD9\xA1\xD9\xA0", "\xD9\xA2", ascending},
        // U+1F600 is the units D83D DE00, so it comes before U+FF5E in spite of its code point.
        Case{"CharactersBeyondThePlaneCompareByCodeUnit", "\xF0\x9F\x98\x80", "\xEF\xBD\x9E",
            ascending},
        Case{"LowSurrogatesDecideToo", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x81", ascending},
        Case{"TwoByteCharactersCompareByCode", "z", "\xC3\xA9", ascending},
        Case{"IllFormedTextIsTheReplacementCharacter", "\xFF", "\xEF\xBF\xBD", same}),
    nameOfCase<Case>);

} // namespace
