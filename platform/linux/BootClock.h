// SPDX-License-Identifier: MIT
#pragma once

#include "platform/shared/WorkQueue.h"

#include <map>
#include <mutex>
#include <thread>

namespace platform {

/// A queue by a clock that goes on while the computer sleeps. Its thread begins with the first
/// work.
class BootClock final : public WorkQueue {
public:
    BootClock();
    BootClock(const BootClock&) = delete;
    BootClock& operator=(const BootClock&) = delete;
    /// What is left is not done.
    ~BootClock() override;

    void post(Work work) override { postAfter({}, std::move(work)); }
    void postAfter(std::chrono::nanoseconds delay, Work work) override;
    Time now() const override;

private:
    void run();
    void setAlarm();
    Work takeDue();

    std::mutex m_mutex;
    std::multimap<Time, Work> m_work; // equal times in the order in which they came
    bool m_hasEnded = false;
    int m_alarm;
    std::thread m_thread;
};

} // namespace platform
