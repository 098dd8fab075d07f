// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"
#include "platform/shared/WorkQueue.h"

#include <deque>
#include <mutex>
#include <thread>

namespace platform {

/// What other threads must have done on the main thread while they wait for it (a modal alert). It
/// is done in every mode of the run loop, and also while the main thread waits on a semaphore.
class ModalWork {
public:
    /// Makes one of the platform's own semaphores, with the value 0.
    using MakeSemaphore = std::function<std::unique_ptr<Semaphore>()>;

    /// On the main thread, where `mainQueue` runs in every mode of the run loop.
    ModalWork(WorkQueue& mainQueue, MakeSemaphore makeSemaphore);

    /// Runs `work` on the main thread and returns when it is done. From any thread.
    void run(const std::function<void()>& work);

    /// Whether any work is under way (a modal alert is up). On the main thread.
    bool isRunning() const { return m_running > 0; }

    /// A semaphore for everybody. The main thread waits on one at a time.
    std::unique_ptr<Semaphore> makeSemaphore(long value);

private:
    class ServingSemaphore;
    class Running;
    using Lock = std::unique_lock<std::mutex>;

    void add(std::function<void()> work);
    void serveInRunLoop();
    bool serveOne(Lock& lock);
    void runHere(const std::function<void()>& work);
    bool isMainThread() const { return std::this_thread::get_id() == m_mainThread; }

    const std::thread::id m_mainThread = std::this_thread::get_id();
    WorkQueue& m_mainQueue;
    const MakeSemaphore m_makeSemaphore;
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_work;
    int m_running = 0; // known on the main thread alone
    ServingSemaphore* m_waitedFor = nullptr; // by the main thread
};

} // namespace platform
