// SPDX-License-Identifier: MIT
// The main thread's loop, and the end of the process.
#include "platform/linux/LinuxApplication.h"
#include "platform/Network.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <thread>

using platform::LinuxApplication;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

/// Launches by running one function.
class Launch : public platform::NSApplicationDelegate {
public:
    explicit Launch(std::function<void()> launch)
        : m_launch(std::move(launch)) { }
    void loadMainInterface() override { events.emplace_back("load"); }
    void applicationWillFinishLaunching() override {
        events.emplace_back("launch");
        m_launch();
    }
    void applicationWillTerminate() override {
        events.emplace_back("terminate");
        terminated();
    }

    std::vector<std::string> events;
    std::function<void()> terminated = [] {};

private:
    std::function<void()> m_launch;
};

/// Says on standard error when it is flushed.
class FlushedNetwork : public platform::Network {
public:
    std::unique_ptr<platform::URLSessionDataTask> dataTaskWithURL(
        const std::string&, platform::DataTaskCompletion) override {
        return nullptr;
    }
    std::shared_ptr<platform::WebSocket> openWebSocket(
        const platform::WebSocketRequest&, std::weak_ptr<platform::WebSocketDelegate>) override {
        return nullptr;
    }
    void flush(std::chrono::milliseconds limit) override {
        std::fprintf(stderr, "flushed for %lld ms\n", static_cast<long long>(limit.count()));
        ++flushes;
    }

    int flushes = 0;
};

} // namespace

TEST(LinuxApplicationTest, RunLoadsLaunchesWorksInOrderAndTerminates) {
    LinuxApplication application;
    FlushedNetwork network;
    application.setNetwork(&network);
    std::vector<int> order;
    Launch launch([&] {
        for (int i = 0; i < 3; ++i) {
            application.performOnMainThread([&order, i] { order.push_back(i); });
        }
        application.performOnMainThread([&] { application.stop(7); });
    });
    EXPECT_EQ(application.run(launch), 7);
    EXPECT_THAT(order, ElementsAre(0, 1, 2));
    EXPECT_THAT(launch.events, ElementsAre("load", "launch", "terminate"));
    EXPECT_EQ(network.flushes, 1);
}

TEST(LinuxApplicationTest, WorkOfOtherThreadsRunsOnTheMainThread) {
    LinuxApplication application;
    const auto mainThread = std::this_thread::get_id();
    std::thread::id ran;
    std::thread other;
    Launch launch([&] {
        other = std::thread([&] {
            application.performOnMainThread([&] {
                ran = std::this_thread::get_id();
                application.stop(0);
            });
        });
    });
    application.run(launch);
    other.join();
    EXPECT_EQ(ran, mainThread);
}

TEST(LinuxApplicationTest, SemaphoreCountsAndBlocksUntilSignalled) {
    LinuxApplication application;
    const auto semaphore = application.makeSemaphore(1);
    semaphore->wait();
    bool signalled = false;
    std::thread other([&] {
        signalled = true;
        semaphore->signal();
    });
    semaphore->wait();
    EXPECT_TRUE(signalled);
    other.join();
}

TEST(LinuxApplicationTest, WaitingMainThreadServesModalWorkAndNothingElse) {
    LinuxApplication application;
    const auto mainThread = std::this_thread::get_id();
    const auto semaphore = application.makeSemaphore(0);
    bool sessionWorkRan = false;
    std::thread::id modalThread;
    application.performOnMainThread([&] { sessionWorkRan = true; });
    std::thread other([&] {
        application.runModally([&] { modalThread = std::this_thread::get_id(); });
        semaphore->signal();
    });
    semaphore->wait();
    other.join();
    EXPECT_EQ(modalThread, mainThread);
    EXPECT_FALSE(sessionWorkRan);
}

TEST(LinuxApplicationTest, ModalWorkOfTheMainThreadRunsAtOnce) {
    LinuxApplication application;
    bool ran = false;
    application.runModally([&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST(LinuxApplicationTest, UrlEventsReachTheirHandlerOnTheMainThreadOneAfterTheOther) {
    LinuxApplication application;
    std::vector<std::string> urls;
    application.setEventHandler(
        [&](const platform::AppleEventDescriptor* event, const platform::AppleEventDescriptor*) {
            urls.push_back(
                event->paramDescriptorForKeyword(platform::keyDirectObject)->stringValue.value());
        },
        platform::kInternetEventClass, platform::kAEGetURL);
    Launch launch([&] {
        application.openURL("quillet://one");
        application.openURL([] { return std::nullopt; }); // one that was taken back
        application.openURL("quillet://two");
        application.performOnMainThread([&] { application.stop(0); });
        EXPECT_TRUE(urls.empty());
    });
    application.run(launch);
    EXPECT_THAT(urls, ElementsAre("quillet://one", "quillet://two"));
}

TEST(LinuxApplicationDeathTest, ExitFlushesTheNetworkFirst) {
    LinuxApplication application;
    FlushedNetwork network;
    application.setNetwork(&network);
    EXPECT_EXIT(application.exit(3), testing::ExitedWithCode(3), "flushed for 5000 ms");
}

TEST(LinuxApplicationDeathTest, ExitRunsNoTerminationCallback) {
    EXPECT_EXIT(
        {
            LinuxApplication application;
            Launch launch([&] { application.performOnMainThread([&] { application.exit(3); }); });
            launch.terminated = [] { std::_Exit(9); };
            application.run(launch);
        },
        testing::ExitedWithCode(3), "");
}

TEST(LinuxApplicationDeathTest, AbortFlushesTheNetworkFirst) {
    LinuxApplication application;
    FlushedNetwork network;
    application.setNetwork(&network);
    EXPECT_EXIT(application.abort(), testing::KilledBySignal(SIGABRT), "flushed for 5000 ms");
}

TEST(LinuxApplicationDeathTest, ExitOfAnotherThreadEndsTheProcessOnTheWaitingMainThread) {
    FlushedNetwork network;
    EXPECT_EXIT(
        {
            LinuxApplication application;
            application.setNetwork(&network);
            const auto semaphore = application.makeSemaphore(0);
            std::thread other([&] { application.exit(4); });
            semaphore->wait();
        },
        testing::ExitedWithCode(4), "flushed for 5000 ms");
}

TEST(LinuxApplicationDeathTest, StopEndsAMainThreadThatWaitsOnASemaphore) {
    FlushedNetwork network;
    EXPECT_EXIT(
        {
            LinuxApplication application;
            application.setNetwork(&network);
            application.stop(5);
            application.makeSemaphore(0)->wait();
        },
        testing::ExitedWithCode(5), "flushed for 5000 ms");
}

namespace {

/// Notes what it is asked, and runs a step at every wait, as a window's events would.
class SteppedLoop : public platform::MainLoop {
public:
    explicit SteppedLoop(std::function<void()> step)
        : m_step(std::move(step)) { }
    void wait() override {
        ++waits;
        m_step();
    }
    void wake() override { ++wakes; }
    void serve() override { ++served; }
    void shutDown() override { std::fputs("windows closed\n", stderr); }

    int waits = 0;
    std::atomic<int> wakes = 0;
    int served = 0;

private:
    std::function<void()> m_step;
};

} // namespace

TEST(LinuxApplicationTest, WindowsAreServedBetweenPiecesOfWorkAndWhileThereIsNone) {
    LinuxApplication application;
    SteppedLoop loop([&] { application.stop(0); });
    application.setMainLoop(&loop);
    Launch launch([&] {
        for (int i = 0; i < 3; ++i) {
            application.performOnMainThread([] {});
        }
    });
    application.run(launch);
    EXPECT_EQ(loop.served, 2);
    EXPECT_EQ(loop.waits, 1);
    EXPECT_EQ(loop.wakes, 4);
}

TEST(LinuxApplicationTest, WindowsAreServedWhileTheMainThreadWaitsOnASemaphore) {
    LinuxApplication application;
    const auto semaphore = application.makeSemaphore(0);
    SteppedLoop loop([&] { semaphore->signal(); });
    application.setMainLoop(&loop);
    semaphore->wait();
    EXPECT_EQ(loop.waits, 1);
}

TEST(LinuxApplicationDeathTest, AnAbortTakesLeaveOfTheDesktopToo) {
    LinuxApplication application;
    FlushedNetwork network;
    SteppedLoop loop([] {});
    application.setNetwork(&network);
    application.setMainLoop(&loop);
    EXPECT_EXIT(application.abort(), testing::KilledBySignal(SIGABRT),
        "windows closed\nflushed for 5000 ms");
}

TEST(LinuxApplicationDeathTest, WindowsAreClosedBeforeTheNetworkIsFlushed) {
    LinuxApplication application;
    FlushedNetwork network;
    SteppedLoop loop([] {});
    application.setNetwork(&network);
    application.setMainLoop(&loop);
    EXPECT_EXIT(
        application.exit(3), testing::ExitedWithCode(3), "windows closed\nflushed for 5000 ms");
}
