// SPDX-License-Identifier: MIT
#include "platform/shared/LaterWork.h"

#include "tests/platform-shared/ManualQueue.h"

#include <deque>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class LaterWorkTest : public testing::Test {
protected:
    /// What has reached the main thread by now.
    void runMainThread() {
        for (; !handedOver.empty(); handedOver.pop_front()) {
            handedOver.front()();
        }
    }
    void pass(std::chrono::nanoseconds time) {
        clock.advance(time);
        runMainThread();
    }

    ManualQueue clock;
    std::deque<platform::WorkQueue::Work> handedOver;
    platform::LaterWork later{clock, [this](auto work) { handedOver.push_back(std::move(work)); }};
    int first = 0;
    int second = 0;
};

} // namespace

TEST_F(LaterWorkTest, IsDoneOnceOnTheMainThreadWhenItsTimeHasCome) {
    later.set(10min, [this] { ++first; });
    pass(10min - 1ns);
    EXPECT_EQ(first, 0);
    clock.advance(1ns);
    EXPECT_EQ(first, 0);
    runMainThread();
    EXPECT_EQ(first, 1);
    pass(1h);
    EXPECT_EQ(first, 1);
}

TEST_F(LaterWorkTest, OtherWorkTakesItsPlace) {
    later.set(10min, [this] { ++first; });
    pass(9min);
    later.set(10min, [this] { ++second; });
    pass(9min);
    EXPECT_EQ(second, 0);
    pass(1min);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST_F(LaterWorkTest, OtherWorkTakesThePlaceOfWhatIsOnItsWayToTheMainThread) {
    later.set(10min, [this] { ++first; });
    clock.advance(10min);
    later.set(10min, [this] { ++second; });
    runMainThread();
    EXPECT_EQ(first, 0);
}

TEST_F(LaterWorkTest, NoWorkLeavesNothingToBeDone) {
    later.set(10min, [this] { ++first; });
    later.set({}, nullptr);
    pass(1h);
    EXPECT_EQ(first, 0);
}
