// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"

#include <deque>
#include <mutex>
#include <thread>

namespace platform {

/// What other threads must have done on the main thread while they wait for it (a modal alert). It
/// is done in every mode of the run loop, and also while the main thread waits on a semaphore.
class ModalWork {
public:
    /// Runs `work` on the main thread and returns when it is done. From any thread.
    void run(const std::function<void()>& work);

    /// A semaphore of libdispatch. The main thread waits on one at a time.
    std::unique_ptr<Semaphore> makeSemaphore(long value);

private:
    class ServingSemaphore;
    using Lock = std::unique_lock<std::mutex>;

    void add(std::function<void()> work);
    static void serveInRunLoop(void* modalWork);
    bool serveOne(Lock& lock);
    bool isMainThread() const { return std::this_thread::get_id() == m_mainThread; }

    const std::thread::id m_mainThread = std::this_thread::get_id(); // which constructs this
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_work;
    ServingSemaphore* m_waitedFor = nullptr; // by the main thread
};

} // namespace platform
