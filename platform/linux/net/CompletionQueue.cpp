// SPDX-License-Identifier: MIT
#include "platform/linux/net/CompletionQueue.h"

#include <system_error>
#include <utility>

namespace platform::linux_ {

CompletionQueue::~CompletionQueue() {
    shut();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CompletionQueue::begin() {
    const std::lock_guard lock(m_mutex);
    try {
        beginLocked();
    } catch (const std::system_error&) {
        // The first completion tries again.
    }
}

void CompletionQueue::beginLocked() {
    if (!m_shut && !m_thread.joinable()) {
        m_thread = std::thread([this] { run(); });
    }
}

void CompletionQueue::push(std::function<void()> completion) {
    const std::lock_guard lock(m_mutex);
    if (m_shut) {
        return;
    }
    m_completions.push_back(std::move(completion));
    beginLocked();
    m_changed.notify_one();
}

void CompletionQueue::shut() {
    std::deque<std::function<void()>> dropped; // destroyed outside the lock
    const std::lock_guard lock(m_mutex);
    m_shut = true;
    dropped.swap(m_completions);
    m_changed.notify_one();
}

void CompletionQueue::joinUnlessBusy() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_busy) {
            return;
        }
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CompletionQueue::run() {
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] { return m_shut || !m_completions.empty(); });
        if (m_shut) {
            return;
        }
        {
            const auto completion = std::move(m_completions.front());
            m_completions.pop_front();
            m_busy = true;
            lock.unlock();
            completion();
        }
        lock.lock();
        m_busy = false;
    }
}

} // namespace platform::linux_
