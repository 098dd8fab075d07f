// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace platform {

/// A platform's queue of work, which runs one piece at a time, in the order in which they came. All
/// calls may come from any thread.
class WorkQueue {
public:
    using Work = std::function<void()>;
    using Time = std::chrono::steady_clock::time_point;

    virtual ~WorkQueue() = default;
    virtual void post(Work work) = 0;
    /// As `post`, once `delay` has passed.
    virtual void postAfter(std::chrono::nanoseconds delay, Work work) = 0;
    /// The time by which delays are measured.
    virtual Time now() const { return std::chrono::steady_clock::now(); }
};

} // namespace platform
