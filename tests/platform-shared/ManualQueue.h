// SPDX-License-Identifier: MIT
// A queue of work that runs, and whose time passes, when a test says so.
#pragma once

#include "platform/shared/WorkQueue.h"

#include <map>
#include <mutex>

class ManualQueue : public platform::WorkQueue {
public:
    void post(Work work) override { postAfter({}, std::move(work)); }
    void postAfter(std::chrono::nanoseconds delay, Work work) override {
        const std::lock_guard lock(m_mutex);
        m_work.emplace(m_now + delay, std::move(work));
        ++m_posted;
    }
    Time now() const override {
        const std::lock_guard lock(m_mutex);
        return m_now;
    }

    /// Runs what is due, until nothing is.
    void run() { advance({}); }

    /// Lets the time pass, and runs what falls due on the way when it does.
    void advance(std::chrono::nanoseconds duration) {
        std::unique_lock lock(m_mutex);
        const Time end = m_now + duration;
        while (!m_work.empty() && m_work.begin()->first <= end) {
            auto first = m_work.extract(m_work.begin());
            m_now = std::max(m_now, first.key());
            lock.unlock();
            first.mapped()();
            first.mapped() = nullptr; // what it keeps alive goes while the queue is open
            lock.lock();
        }
        m_now = end;
    }

    /// How much work has come, ever.
    int posted() const {
        const std::lock_guard lock(m_mutex);
        return m_posted;
    }

private:
    mutable std::mutex m_mutex;
    std::multimap<Time, Work> m_work;
    Time m_now{std::chrono::hours(1)};
    int m_posted = 0;
};
