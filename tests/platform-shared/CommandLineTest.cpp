// SPDX-License-Identifier: MIT
#include "platform/shared/CommandLine.h"

#include <array>
#include <gmock/gmock.h>

TEST(CommandLineTest, LinksAreTakenOutOfIt) {
    std::string program = "agent://program", install = "install";
    std::string link = "quillet://host/?roomId=secret";
    std::array<char*, 3> words{program.data(), install.data(), link.data()};
    EXPECT_THAT(platform::takeArguments(3, words.data()),
        testing::ElementsAre("agent://program", "install", "quillet://host/?roomId=secret"));
    EXPECT_EQ(install, "install");
    EXPECT_EQ(link, "quillet://" + std::string(19, '*'));
}
