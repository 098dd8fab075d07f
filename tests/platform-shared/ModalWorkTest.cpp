// SPDX-License-Identifier: MIT
// The test's own thread is the main thread, and runs its queue.
#include "platform/shared/ModalWork.h"

#include "tests/platform-shared/ManualQueue.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

std::atomic<int> signals = 0;
std::atomic<int> waits = 0;

/// A platform's semaphore. It notes how often any of them is signalled and waited for.
class CountingSemaphore : public platform::Semaphore {
public:
    void wait() override {
        std::unique_lock lock(m_mutex);
        ++waits;
        m_changed.wait(lock, [this] { return m_value > 0; });
        --m_value;
    }
    void signal() override {
        const std::lock_guard lock(m_mutex);
        ++m_value;
        ++signals;
        m_changed.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_value = 0;
};

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
    /// Work that notes its name, and that it runs on the main thread.
    auto noting(const std::string& name) {
        return [this, name] {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            done.push_back(name);
        };
    }
    /// Starts a thread that has `work` done, and waits until the main thread has been told.
    std::thread beginRunning(std::function<void()> work) {
        const int signalsBefore = signals;
        const int callsBefore = mainQueue.posted();
        std::thread thread([this, work = std::move(work)] { modalWork.run(work); });
        waitUntil([&] { return signals != signalsBefore || mainQueue.posted() != callsBefore; });
        return thread;
    }

    ManualQueue mainQueue;
    platform::ModalWork modalWork{mainQueue, [] { return std::make_unique<CountingSemaphore>(); }};
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
    mainQueue.run();
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
    waitUntil([&] { return mainQueue.posted() > 0; });
    mainQueue.run();
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
        mainQueue.run();
        EXPECT_TRUE(done.empty());
    }
}

TEST_F(ModalWorkTest, EarlierWorkIsDoneBeforeTheWait) {
    std::thread other = beginRunning(noting("alert"));
    const auto semaphore = modalWork.makeSemaphore(1);
    semaphore->wait();
    EXPECT_EQ(done, std::vector<std::string>{"alert"});
    mainQueue.run(); // finds nothing
    other.join();
    EXPECT_EQ(done.size(), 1U);
}

TEST_F(ModalWorkTest, RunLoopOfAnAlertLeavesWorkToTheWaitThatWasToldOfIt) {
    const int before = waits;
    std::thread early = beginRunning(noting("early")); // leaves its call in the main queue
    waitUntil([&] { return waits == before + 1; });
    const auto semaphore = modalWork.makeSemaphore(0);
    std::thread nested;
    std::thread other([&] {
        waitUntil([&] { return waits == before + 2; }); // the main thread's
        modalWork.run([&] {
            nested = beginRunning(noting("nested"));
            mainQueue.run(); // the alert's own run loop
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

TEST_F(ModalWorkTest, TellsWhetherAnyWorkIsUnderWay) {
    EXPECT_FALSE(modalWork.isRunning());
    modalWork.run([this] {
        EXPECT_TRUE(modalWork.isRunning());
        modalWork.run([] {});
        EXPECT_TRUE(modalWork.isRunning());
    });
    EXPECT_FALSE(modalWork.isRunning());
    std::thread other = beginRunning([this] { EXPECT_TRUE(modalWork.isRunning()); });
    mainQueue.run();
    other.join();
    EXPECT_FALSE(modalWork.isRunning());
    EXPECT_THROW(modalWork.run([] { throw 1; }), int);
    EXPECT_FALSE(modalWork.isRunning());
}

} // namespace
