// SPDX-License-Identifier: MIT
// The ends that hostile input may bring the program to, over the platform in memory.
#pragma once

#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/ProcessEnd.h"

#include <algorithm>
#include <string>
#include <vector>

namespace fuzz {

/// `end` is what endOf() told. An alert was shown once before an exit with 1, a fatal error was
/// logged and nothing shown before an abort; "exit 0" and "runs on" say for themselves.
inline void requireDefinedEnd(const MemoryPlatform& memory, const std::string& end) {
    const std::vector<std::string>& events = memory.trace.events();
    const auto before = [&](std::size_t distance) {
        return events.size() > distance ? events[events.size() - 1 - distance] : std::string();
    };
    const auto alerts = std::count_if(events.begin(), events.end(),
        [](const std::string& event) { return event.starts_with("alert: "); });
    if (end == "exit 1") {
        require(before(0) == "exit: 1", "the exit is the last event");
        require(before(1) == "log: Exiting application after fatal error", "the exit is logged");
        require(before(2) == "dismissed" && alerts == 1, "one alert precedes the exit");
    } else if (end == "abort") {
        require(before(0) == "abort", "the abort is the last event");
        require(before(1).starts_with("log: Fatal error: "), "the abort is logged");
        require(alerts == 0, "a fatal error shows no alert");
    } else {
        require(end == "exit 0" || end == "runs on", "the process ends as it may");
    }
}

} // namespace fuzz
