// SPDX-License-Identifier: MIT
// Work for the main thread over libdispatch in memory. The test's own thread is the main thread.
#include "platform/macos/ModalWork.h"

#include "tests/macos/MemoryDispatch.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

template <typename Condition>
void waitUntil(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
        std::this_thread::yield();
    }
}

class ModalWorkTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(memory::liveSemaphores(), 0); }

    /// Work that notes its name, and that it runs on the main thread.
    auto noting(const std::string& name) {
        return [this, name] {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            done.push_back(name);
        };
    }
    /// Starts a thread that has `work` done, and waits until the main thread has been told.
    std::thread beginRunning(std::function<void()> work) {
        const int signals = memory::semaphoreSignals();
        const int calls = memory::mainQueueCalls();
        std::thread thread([this, work = std::move(work)] { modalWork.run(work); });
        waitUntil([&] {
            return memory::semaphoreSignals() != signals || memory::mainQueueCalls() != calls;
        });
        return thread;
    }

    platform::ModalWork modalWork;
    const std::thread::id mainThread = std::this_thread::get_id();
    std::vector<std::string> done;
};

TEST_F(ModalWorkTest, MainThreadDoesItsOwnWorkAtOnce) {
    modalWork.run(noting("alert"));
    EXPECT_EQ(done, std::vector<std::string>{"alert"});
}

TEST_F(ModalWorkTest, RunLoopDoesTheWorkOfOtherThreads) {
    std::thread other = beginRunning(noting("alert"));
    EXPECT_TRUE(done.empty());
    memory::drainMainQueue();
    other.join();
    EXPECT_EQ(done, std::vector<std::string>{"alert"});
}

TEST_F(ModalWorkTest, SemaphoreCounts) {
    const auto semaphore = modalWork.makeSemaphore(2);
    semaphore->wait();
    semaphore->wait();
    semaphore->signal();
    semaphore->wait();
}

TEST_F(ModalWorkTest, OtherThreadsWaitAsWell) {
    const auto semaphore = modalWork.makeSemaphore(0);
    std::thread other([&] {
        semaphore->wait();
        modalWork.run(noting("alert"));
    });
    semaphore->signal();
    waitUntil([calls = memory::mainQueueCalls()] { return memory::mainQueueCalls() != calls; });
    memory::drainMainQueue();
    other.join();
    EXPECT_EQ(done.size(), 1U);
}

TEST_F(ModalWorkTest, WaitingMainThreadDoesTheWorkOfOtherThreads) {
    for (int i = 0; i < 100; ++i) {
        const auto semaphore = modalWork.makeSemaphore(0);
        std::thread completionHandler([&] {
            modalWork.run(noting("first alert"));
            modalWork.run(noting("second alert"));
            semaphore->signal();
        });
        semaphore->wait();
        EXPECT_EQ(done, (std::vector<std::string>{"first alert", "second alert"}));
        done.clear();
        completionHandler.join();
        memory::drainMainQueue();
        EXPECT_TRUE(done.empty());
    }
}

TEST_F(ModalWorkTest, EarlierWorkIsDoneBeforeTheWait) {
    std::thread other = beginRunning(noting("alert"));
    const auto semaphore = modalWork.makeSemaphore(1);
    semaphore->wait();
    EXPECT_EQ(done, std::vector<std::string>{"alert"});
    memory::drainMainQueue(); // finds nothing
    other.join();
    EXPECT_EQ(done.size(), 1U);
}

TEST_F(ModalWorkTest, RunLoopOfAnAlertLeavesWorkToTheWaitThatWasToldOfIt) {
    const int waits = memory::semaphoreWaits();
    std::thread early = beginRunning(noting("early")); // leaves its call in the main queue
    waitUntil([&] { return memory::semaphoreWaits() == waits + 1; });
    const auto semaphore = modalWork.makeSemaphore(0);
    std::thread nested;
    std::thread other([&] {
        waitUntil([&] { return memory::semaphoreWaits() == waits + 2; }); // the main thread's
        modalWork.run([&] {
            nested = beginRunning(noting("nested"));
            memory::drainMainQueue(); // the alert's own run loop
            EXPECT_EQ(done, std::vector<std::string>{"early"});
            done.push_back("alert");
        });
        semaphore->signal();
    });
    semaphore->wait();
    early.join();
    other.join();
    nested.join();
    EXPECT_EQ(done, (std::vector<std::string>{"early", "alert", "nested"}));
}

} // namespace
