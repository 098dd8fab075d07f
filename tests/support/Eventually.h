// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

/// Longer than anything takes that a test waits for.
inline constexpr std::chrono::seconds waitingLimit{60};

/// Polls until `condition` holds; false when the time is over.
template <typename Condition>
bool eventually(const Condition& condition, std::chrono::milliseconds time = waitingLimit) {
    const auto start = std::chrono::steady_clock::now();
    while (!condition()) {
        const auto waited = std::chrono::steady_clock::now() - start;
        if (waited > time) {
            return false;
        }
        // Seldom where it takes long, for some conditions read a large log.
        std::this_thread::sleep_for(std::clamp<std::chrono::nanoseconds>(
            waited / 16, std::chrono::milliseconds(5), std::chrono::milliseconds(250)));
    }
    return true;
}
