// SPDX-License-Identifier: MIT
// What the agent loads, and how it is built. The terminal pays nothing for the desktop.
#include "tests/e2e/SessionTest.h"

#include <cstdio>

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Libraries : public SessionTest { };

TEST_F(Libraries, NoneOfADesktopIsLoadedWithoutADisplay) {
    auto variables = notingLoadedFiles(home);
    variables["SSL_CERT_FILE"] = (home.path() / "ca.pem").string();
    agent = std::make_unique<AgentProcess>(
        home, std::vector<std::string>{server.link("room-1")}, variables);
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    greet();
    const std::string files = loadedFiles(home, agent->pid());
    ASSERT_THAT(files, HasSubstr("libnss3.so"));
    for (const char* name : {"quillet-desktop", "libQt6", "libxcb", "libX11", "libdbus"}) {
        EXPECT_THAT(files, Not(HasSubstr(name)));
    }
}

TEST_F(Libraries, UrlsAreReadByTheProgramItself) {
    startSession();
    const std::string maps = contentOf("/proc/" + std::to_string(agent->pid()) + "/maps");
    EXPECT_THAT(maps, Not(HasSubstr("boost_url")));
}

/// What a command prints.
std::string printedBy(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r"); // of this project's own paths
    std::string text;
    char piece[4096];
    for (std::size_t count = 0; (count = fread(piece, 1, sizeof piece, pipe)) > 0;) {
        text.append(piece, count);
    }
    return pclose(pipe) == 0 ? text : "";
}

class Hardening : public testing::TestWithParam<std::pair<const char*, const char*>> {
protected:
    const std::string file = GetParam().second;
};

TEST_P(Hardening, NothingIsWritableThatNeedNotBe) {
    const std::string text = printedBy("readelf -Wdhl " + file);
    EXPECT_THAT(text, ContainsRegex("Type: +DYN")) << "not at a random place";
    EXPECT_THAT(text, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(text, HasSubstr("BIND_NOW"));
    EXPECT_THAT(text, ContainsRegex("GNU_STACK +0x0+ 0x0+ 0x0+ 0x0+ 0x0+ RW "));
}

TEST_P(Hardening, SizesAreCheckedWhileItRuns) {
    const std::string symbols = printedBy("nm -D --undefined-only " + file);
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail"));
    if (QUILLET_IS_FORTIFIED) {
        EXPECT_THAT(symbols, ContainsRegex("__[a-z]+_chk@"));
    }
}

INSTANTIATE_TEST_SUITE_P(Programs, Hardening,
    testing::Values(std::pair("Agent", QUILLET_AGENT), std::pair("Server", QUILLET_DEVSERVER)),
    [](const auto& test) { return std::string(test.param.first); });
