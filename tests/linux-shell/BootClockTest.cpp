// SPDX-License-Identifier: MIT
#include "platform/linux/BootClock.h"

#include <ctime>
#include <future>
#include <gmock/gmock.h>

using platform::BootClock;
using testing::ElementsAre;
using namespace std::chrono_literals;

TEST(BootClockTest, WorkIsDoneInTheOrderOfItsTime) {
    std::promise<void> last;
    std::vector<int> order;
    BootClock clock;
    clock.postAfter(40ms, [&] {
        order.push_back(3);
        last.set_value();
    });
    clock.postAfter(20ms, [&] { order.push_back(2); });
    clock.post([&] { order.push_back(1); });
    last.get_future().wait();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(BootClockTest, NothingIsDoneBeforeItsTime) {
    BootClock clock;
    const auto start = clock.now();
    std::promise<BootClock::Time> done;
    clock.postAfter(50ms, [&] { done.set_value(clock.now()); });
    EXPECT_GE(done.get_future().get() - start, 50ms);
}

TEST(BootClockTest, WorkMayPostMore) {
    BootClock clock;
    std::promise<void> second;
    clock.post([&] { clock.post([&] { second.set_value(); }); });
    second.get_future().wait();
}

TEST(BootClockTest, ItsTimeIsThatSinceTheStartSleepIncluded) {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    EXPECT_GE(BootClock().now().time_since_epoch(), std::chrono::seconds(time.tv_sec));
    EXPECT_LT(BootClock().now().time_since_epoch(), std::chrono::seconds(time.tv_sec) + 1h);
}

TEST(BootClockTest, WhatIsLeftAtTheEndIsNotDone) {
    bool isDone = false;
    {
        BootClock clock;
        clock.postAfter(1h, [&] { isDone = true; });
    } // does not wait for it
    { const BootClock unused; }
    EXPECT_FALSE(isDone);
}
