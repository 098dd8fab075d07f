// SPDX-License-Identifier: MIT
#pragma once

#include "platform/shared/WorkQueue.h"

namespace platform {

/// One piece of work that the main thread does later, unless other work takes its place before.
/// Main thread; lives as long as the process.
class LaterWork {
public:
    /// `clock` measures the time, `toMainThread` hands work over from its thread.
    LaterWork(WorkQueue& clock, std::function<void(WorkQueue::Work)> toMainThread)
        : m_clock(clock)
        , m_toMainThread(std::move(toMainThread)) { }

    /// Null work: nothing is left to be done.
    void set(std::chrono::milliseconds time, WorkQueue::Work work);

private:
    WorkQueue& m_clock;
    std::function<void(WorkQueue::Work)> m_toMainThread;
    unsigned long m_turn = 0;
};

} // namespace platform
