// SPDX-License-Identifier: MIT
// The queue on which data tasks complete: one thread of its own, one completion after another.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace platform::linux_ {

class CompletionQueue {
public:
    CompletionQueue() = default;
    /// Waits for a completion that runs.
    ~CompletionQueue();
    CompletionQueue(const CompletionQueue&) = delete;
    CompletionQueue& operator=(const CompletionQueue&) = delete;

    /// Starts the thread, which takes a moment, before there is a completion.
    void begin();
    void push(std::function<void()> completion);
    /// What has not begun yet is dropped, now and from now on.
    void shut();
    /// After `shut`: waits for the end of the thread, unless it runs a completion, which may take
    /// as long as a user takes to answer, or be the caller itself.
    void joinUnlessBusy();

private:
    void beginLocked();
    void run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_completions;
    bool m_shut = false;
    bool m_busy = false; // with a completion
    std::thread m_thread;
};

} // namespace platform::linux_
