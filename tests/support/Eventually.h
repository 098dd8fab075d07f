// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

/// Longer than anything takes that a test waits for.
inline constexpr std::chrono::seconds waitingLimit{60};

/// Polls until `condition` holds; false when the time is over.
template <typename Condition>
bool eventually(const Condition& condition, std::chrono::milliseconds time = waitingLimit) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
