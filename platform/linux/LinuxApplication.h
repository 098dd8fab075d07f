// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"
#include "platform/linux/MainLoop.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace platform {

class Network;

/// The main thread's loop: a queue of work, and besides it the modal work that other threads wait
/// for, which is also done while the main thread waits on a semaphore. While there is no work, the
/// thread is in the `MainLoop`.
class LinuxApplication : public Application {
public:
    LinuxApplication();

    /// What is flushed before the process ends.
    void setNetwork(Network* network) { m_network = network; }
    /// Where the main thread waits; null brings back sleeping. Main thread, before `run`.
    void setMainLoop(MainLoop* loop);

    int run(NSApplicationDelegate& delegate) override;
    void setEventHandler(
        AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId) override;
    void performOnMainThread(std::function<void()> work) override;
    std::unique_ptr<Semaphore> makeSemaphore(long value) override;
    [[noreturn]] void exit(int status) override;
    [[noreturn]] void abort() override;

    /// Runs `work` on the main thread and returns when it is done. From any thread.
    void runModally(const std::function<void()>& work);

    /// Delivers a URL event to its handler, on the main thread.
    void openURL(std::string url);
    /// The same, of the URL that `take` gives when the event's turn has come, if it gives one.
    void openURL(std::function<std::optional<std::string>()> take);

    /// While there is one, other people's code runs beside the main thread and may never return:
    /// the process ends without the clean-up of its libraries, which could wait for that.
    class SideWorkScope {
    public:
        explicit SideWorkScope(LinuxApplication& application)
            : m_count(application.m_sideWork) {
            ++m_count;
        }
        SideWorkScope(const SideWorkScope&) = delete;
        SideWorkScope& operator=(const SideWorkScope&) = delete;
        ~SideWorkScope() { --m_count; }

    private:
        std::atomic<int>& m_count;
    };

    /// Lets `run` return with `status`; a main thread that waits on a semaphore ends the process.
    void stop(int status);

private:
    class MainSemaphore;

    using Work = std::deque<std::function<void()>>;

    void closeWindows();
    void flushNetwork();
    void changed();
    void runFirst(Work& work, std::unique_lock<std::mutex>& lock);
    bool isMainThread() const { return std::this_thread::get_id() == m_mainThread; }

    std::thread::id m_mainThread;
    Network* m_network = nullptr;
    SleepingLoop m_sleepingLoop;
    MainLoop* m_loop = &m_sleepingLoop;
    std::map<std::pair<FourCharCode, FourCharCode>, AppleEventHandler> m_handlers;

    std::atomic<int> m_sideWork = 0;
    std::mutex m_mutex;
    std::condition_variable m_changed; // for threads other than the main thread
    Work m_work;
    Work m_modalWork;
    bool m_stopped = false;
    int m_status = 0;
};

} // namespace platform
