// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace platform {

class Network;

/// The main thread's loop: a queue of work, and besides it the modal work that other threads wait
/// for, which is also done while the main thread waits on a semaphore.
class LinuxApplication : public Application {
public:
    LinuxApplication();

    /// What is flushed before the process ends.
    void setNetwork(Network* network) { m_network = network; }

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

    /// Lets `run` return with `status`.
    void stop(int status);

private:
    class MainSemaphore;

    void flushNetwork();
    bool isMainThread() const { return std::this_thread::get_id() == m_mainThread; }

    std::thread::id m_mainThread;
    Network* m_network = nullptr;
    std::map<std::pair<FourCharCode, FourCharCode>, AppleEventHandler> m_handlers;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_work;
    std::deque<std::function<void()>> m_modalWork;
    bool m_stopped = false;
    int m_status = 0;
};

} // namespace platform
