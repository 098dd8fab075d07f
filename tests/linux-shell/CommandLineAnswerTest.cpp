// SPDX-License-Identifier: MIT
#include "platform/linux/CommandLineAnswer.h"

#include <gmock/gmock.h>

using platform::commandLineAnswer;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Optional;
using testing::StartsWith;

TEST(CommandLineAnswer, TellsUsageAndVersion) {
    EXPECT_THAT(commandLineAnswer({"x", "--help"}), Optional(StartsWith("usage: ZqMacClient ")));
    for (const char* const command :
        {"\n  LINK ", "\n  install ", "\n  policy ", "\n  identities "}) {
        EXPECT_THAT(commandLineAnswer({"x", "--help"}), Optional(HasSubstr(command)));
    }
    EXPECT_EQ(commandLineAnswer({"x", "-h", "more"}), commandLineAnswer({"x", "--help"}));
    EXPECT_THAT(
        commandLineAnswer({"x", "--version"}), Optional(MatchesRegex("ZqMacClient [0-9.]+\n")));
}

TEST(CommandLineAnswer, AllOtherStartsLaunchTheProgram) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{{},
             {"x"}, {"x", ""}, {"x", "install"}, {"x", "install", "--help"}, {"x", "--Help"},
             {"x", "-help"}, {"x", "help"}, {"x", "quillet://host/?roomId=r", "--version"}}) {
        EXPECT_EQ(commandLineAnswer(arguments), std::nullopt);
    }
}
