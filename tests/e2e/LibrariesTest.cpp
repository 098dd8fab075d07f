// SPDX-License-Identifier: MIT
// What the agent loads. The terminal pays nothing for the desktop.
#include "tests/e2e/SessionTest.h"

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
