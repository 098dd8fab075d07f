// SPDX-License-Identifier: MIT
#include "platform/shared/TerminalText.h"

#include <gtest/gtest.h>

using platform::displayable;
using platform::displayableLine;

TEST(TerminalTextTest, ControlCharactersAreReplaced) {
    EXPECT_EQ(displayable("a\x1B[2Jb\x7F"), "a\uFFFD[2Jb\uFFFD");
    EXPECT_EQ(displayable("a\u009Bb\u0080c\u00A0"), "a\uFFFDb\uFFFDc\u00A0");
    EXPECT_EQ(displayable("bücher \u2026"), "bücher \u2026");
    EXPECT_EQ(displayable("\xC3"), "\uFFFD");
}

TEST(TerminalTextTest, LineBreaksAndTabsStandOutsideOfLinesAlone) {
    EXPECT_EQ(displayable("a\n\tb\r"), "a\n\tb\uFFFD");
    EXPECT_EQ(displayableLine("a\n\tb\r"), "a\uFFFD\uFFFDb\uFFFD");
}
