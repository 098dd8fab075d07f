// SPDX-License-Identifier: MIT
#include "platform/shared/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace {

/// In a process of its own: what is opened first when it has these streams no more.
int firstOpenedWithout(const std::vector<int>& streams) {
    for (const int stream : streams) {
        close(stream);
    }
    platform::openStandardStreams();
    for (const int stream : {0, 1, 2}) {
        if (fcntl(stream, F_GETFD) < 0) {
            return -1;
        }
    }
    return open("/dev/null", O_RDONLY);
}

TEST(StandardStreamsDeathTest, NothingElseGetsTheNumberOfAMissingOne) {
    for (const std::vector<int>& closed :
        std::vector<std::vector<int>>{{}, {0}, {1}, {2}, {0, 2}, {0, 1, 2}}) {
        EXPECT_EXIT(_exit(firstOpenedWithout(closed) > 2 ? 7 : 1), testing::ExitedWithCode(7), "");
    }
}

} // namespace
