// SPDX-License-Identifier: MIT
#include "ZqMacClient/LogFormat.h"

#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

struct Case {
    const char* name;
    std::string format;
    std::string expected;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.format;
}

class LogFormatTest : public testing::TestWithParam<Case> { };

TEST_P(LogFormatTest, ReadsNoArgument) {
    EXPECT_EQ(logFormatted(GetParam().format), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rules, LogFormatTest,
    testing::Values(Case{"EmptyText", "", ""},
        Case{"PlainTextIsItself", "a line\nor two", "a line\nor two"},
        Case{"TwoSignsAreOne", "100%% done", "100% done"}, Case{"FourSignsAreTwo", "%%%%", "%%"},
        Case{"ADirectiveIsNull", "%@", "(null)"},
        Case{"EveryDirectiveIsNull", "%s%d-%n", "(null)(null)-(null)"},
        Case{"ABlankIsAFlag", "100% done", "100(null)one"},
        Case{"FlagsWidthAndPrecisionBelongToIt", "[%-+ #08.3lld]", "[(null)]"},
        Case{"APositionBelongsToIt", "%1$@!", "(null)!"},
        Case{"AsteriskBelongsToIt", "%*.*f!", "(null)!"},
        Case{"AnUnknownConversionIsNull", "%y!", "(null)!"},
        Case{"AConversionOfSeveralBytesIsTakenWhole", "%\xC3\xA9!", "(null)!"},
        Case{"ASignWithAWidthIsADirective", "%5%!", "(null)!"},
        Case{"ASignAfterTwoSigns", "%%@", "%@"},
        Case{"ALoneSignAtTheEndStandsForItself", "50%", "50%"},
        Case{"AnUnfinishedDirectiveAtTheEndStandsForItself", "%% %5l", "% %5l"}),
    nameOfCase<Case>);

} // namespace
