// SPDX-License-Identifier: MIT
// The terminal pays nothing for the desktop.
#include "tests/e2e/SessionTest.h"

using testing::HasSubstr;
using testing::Not;

class Libraries : public SessionTest { };

TEST_F(Libraries, NoneOfADesktopIsLoadedWithoutADisplay) {
    startSession();
    const std::string maps = contentOf("/proc/" + std::to_string(agent->pid()) + "/maps");
    ASSERT_THAT(maps, HasSubstr("libnss3.so"));
    for (const char* name : {"quillet-desktop", "libQt6", "libxcb", "libX11", "libdbus"}) {
        EXPECT_THAT(maps, Not(HasSubstr(name)));
    }
}
