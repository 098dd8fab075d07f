// SPDX-License-Identifier: MIT
// The queues and semaphores of macOS over libdispatch in memory.
#include "platform/macos/MacPlatform.h"

#include "tests/macos/MemoryDispatch.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

class DispatchTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(memory::liveSemaphores(), 0); }
    auto noting(const std::string& name) {
        // What the work holds must go with it.
        return [this, name, held = std::make_shared<int>()] { done.push_back(name); };
    }
    std::vector<std::string> done;
};

TEST_F(DispatchTest, QueueRunsItsWorkOnceAndInOrder) {
    platform::mainDispatchQueue().post(noting("first"));
    platform::mainDispatchQueue().post(noting("second"));
    EXPECT_TRUE(done.empty());
    memory::drainMainQueue();
    memory::drainMainQueue();
    EXPECT_EQ(done, (std::vector<std::string>{"first", "second"}));
}

TEST_F(DispatchTest, NetworkHasOneQueueOfItsOwn) {
    EXPECT_EQ(&platform::networkDispatchQueue(), &platform::networkDispatchQueue());
    platform::networkDispatchQueue().post(noting("network"));
    memory::drainMainQueue();
    EXPECT_TRUE(done.empty());
    memory::drainOtherQueues();
    EXPECT_EQ(done, std::vector<std::string>{"network"});
}

TEST_F(DispatchTest, DelayedWorkWaitsForItsTime) {
    auto& queue = platform::networkDispatchQueue();
    queue.postAfter(milliseconds(20), noting("late"));
    queue.postAfter(milliseconds(10), noting("soon"));
    memory::passTime(milliseconds(10) - std::chrono::nanoseconds(1));
    memory::drainOtherQueues();
    EXPECT_TRUE(done.empty());
    memory::passTime(std::chrono::nanoseconds(1));
    memory::drainOtherQueues();
    EXPECT_EQ(done, std::vector<std::string>{"soon"});
    memory::passTime(milliseconds(10));
    memory::drainOtherQueues();
    EXPECT_EQ(done, (std::vector<std::string>{"soon", "late"}));
}

TEST_F(DispatchTest, SemaphoreCountsFromZero) {
    const auto semaphore = platform::makeDispatchSemaphore();
    semaphore->signal();
    semaphore->signal();
    semaphore->wait();
    semaphore->wait();
    std::thread other([&] { semaphore->signal(); });
    semaphore->wait();
    other.join();
}

TEST_F(DispatchTest, WhatFoundationLeavesBehindGoesWithEachPieceOfNetworkWork) {
    platform::networkDispatchQueue();
    EXPECT_TRUE(memory::haveQueuesAnAutoreleasePoolForEachItem());
}

} // namespace
