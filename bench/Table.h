// SPDX-License-Identifier: MIT
// The rows of the one table that scripts/bench.sh prints: what, its time, a baseline of the same
// run, and the ratio of the two.
#pragma once

#include <cstdio>
#include <string>

/// Three digits and a unit, from nanoseconds to seconds.
inline std::string timeText(double seconds) {
    constexpr struct {
        double unit;
        const char* name;
    } units[] = {{1, "s"}, {1e-3, "ms"}, {1e-6, "us"}, {1e-9, "ns"}};
    std::string text(32, '\0');
    for (const auto& [unit, name] : units) {
        if (seconds >= unit || unit == 1e-9) {
            const int digits = seconds / unit < 10 ? 2 : seconds / unit < 100 ? 1 : 0;
            const int length
                = std::snprintf(text.data(), text.size(), "%.*f %s", digits, seconds / unit, name);
            text.resize(static_cast<std::size_t>(length));
            break;
        }
    }
    return text;
}

inline void printRow(const std::string& what, const std::string& value, const std::string& baseline,
    const std::string& baselineName, double ratio) {
    std::printf("%-50s %10s %10s  %-34s %6.*f\n", what.c_str(), value.c_str(), baseline.c_str(),
        baselineName.c_str(), ratio < 10 ? 2 : 1, ratio);
    std::fflush(stdout);
}

/// Times are in seconds.
inline void printRow(
    const std::string& what, double time, const std::string& baselineName, double baseline) {
    printRow(what, timeText(time), timeText(baseline), baselineName, time / baseline);
}
