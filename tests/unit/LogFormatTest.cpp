// SPDX-License-Identifier: MIT
#include "ZqMacClient/LogFormat.h"

#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

struct Format {
    const char* name;
    std::string format;
    std::string expected;
};

void PrintTo(const Format& c, std::ostream* out) {
    *out << c.format;
}

class LogFormatTest : public testing::TestWithParam<Format> { };

TEST_P(LogFormatTest, ReadsNoArgument) {
    EXPECT_EQ(logFormatted(GetParam().format), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rules, LogFormatTest,
    testing::Values(Format{"EmptyText", "", ""},
        Format{"PlainTextIsItself", "a line\nor two", "a line\nor two"},
        Format{"TwoSignsAreOne", "100%% done", "100% done"},
        Format{"FourSignsAreTwo", "%%%%", "%%"}, Format{"ADirectiveIsNull", "%@", "(null)"},
        Format{"EveryDirectiveIsNull", "%s%d-%n", "(null)(null)-(null)"},
        Format{"ABlankIsAFlag", "100% done", "100(null)one"},
        Format{"FlagsWidthAndPrecisionBelongToIt", "[%-+ #08.3lld]", "[(null)]"},
        Format{"APositionBelongsToIt", "%1$@!", "(null)!"},
        Format{"AsteriskBelongsToIt", "%*.*f!", "(null)!"},
        Format{"AnUnknownConversionIsNull", "%y!", "(null)!"},
        Format{"AConversionOfSeveralBytesIsTakenWhole", "%\xC3\xA9!", "(null)!"},
        Format{"ASignWithAWidthIsADirective", "%5%!", "(null)!"},
        Format{"ASignAfterTwoSigns", "%%@", "%@"},
        Format{"ALoneSignAtTheEndStandsForItself", "50%", "50%"},
        Format{"AnUnfinishedDirectiveAtTheEndStandsForItself", "%% %5l", "% %5l"}),
    nameOfCase<Format>);

} // namespace
