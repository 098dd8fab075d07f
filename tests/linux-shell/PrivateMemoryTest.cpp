// SPDX-License-Identifier: MIT
// What is left of a process that was aborted.
#include "platform/linux/PrivateMemory.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>

TEST(PrivateMemoryDeathTest, AbortedProcessLeavesNoCore) {
    EXPECT_EXIT(
        {
            rlimit limit{};
            getrlimit(RLIMIT_CORE, &limit);
            limit.rlim_cur = limit.rlim_max;
            setrlimit(RLIMIT_CORE, &limit);
            platform::keepMemoryPrivate();
            getrlimit(RLIMIT_CORE, &limit);
            std::exit(limit.rlim_cur == 0 && prctl(PR_GET_DUMPABLE) == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            platform::keepMemoryPrivate();
            std::abort();
        },
        testing::KilledBySignal(SIGABRT), "");
}
