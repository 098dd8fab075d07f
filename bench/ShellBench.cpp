// SPDX-License-Identifier: MIT
// Measures how long both shells take to show their first line or window, and the memory that they
// then have, next to a Qt program that only shows an empty window.
#include "tests/e2e/AgentProcess.h"
#include "tests/linux-desktop/XDisplay.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int runs = 11;
constexpr double mebi = 1024.0 * 1024.0;

struct Start {
    double milliseconds = 0;
    std::size_t memory = 0; // bytes
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The bytes that a process alone has, with its share of what it has together with others.
std::size_t memoryOf(pid_t pid) {
    const std::string text = contentOf("/proc/" + std::to_string(pid) + "/smaps_rollup");
    const std::string_view label = "\nPss:";
    const std::size_t found = text.find(label);
    if (found == std::string::npos) {
        throw std::runtime_error("the memory of the process is not told");
    }
    return std::strtoull(text.c_str() + found + label.size(), nullptr, 10) * 1024;
}

/// Starts a program and takes its time until `isShown`.
template <typename Condition>
Start measure(const std::string& program, const std::map<std::string, std::string>& environment,
    const Condition& isShown) {
    const AgentHome home;
    // Registered already, as at every start but the first.
    writeFile(home.path() / "home/.config/mimeapps.list",
        "[Default Applications]\nx-scheme-handler/quillet=com.quillet.ZqMacClient.desktop\n");
    const auto began = Clock::now();
    AgentProcess process(home, {}, environment, program);
    if (!eventually([&] { return isShown(process); })) {
        throw std::runtime_error(program + " shows nothing");
    }
    const std::chrono::duration<double, std::milli> time = Clock::now() - began;
    // All that a start loads is there once it has settled.
    std::size_t memory = 0;
    int same = 0;
    eventually([&] {
        const std::size_t now = memoryOf(process.pid());
        same = now == memory ? same + 1 : 0;
        memory = now;
        return same == 20;
    });
    return {time.count(), memory};
}

template <typename Condition>
double row(const char* name, double baseline, const std::string& program,
    const std::map<std::string, std::string>& environment, const Condition& isShown) {
    std::vector<double> times, memories;
    for (int run = 0; run < runs; ++run) {
        const Start start = measure(program, environment, isShown);
        times.push_back(start.milliseconds);
        memories.push_back(static_cast<double>(start.memory));
    }
    const double time = median(times);
    std::printf("  %-32s %7.0f ms %8.2f %8.1f MiB\n", name, time,
        baseline > 0 ? time / baseline : 1.0, median(memories) / mebi);
    return time;
}

} // namespace

int main() {
    try {
        XDisplay display;
        // A window is shown when it is painted: its corner is no longer the display's black.
        const auto isPainted = [&](AgentProcess&) {
            for (const auto window : display.visibleWindows()) {
                const auto image = display.imageOf(window);
                return !image.pixels.empty() && image.pixels.front() != 0;
            }
            return false;
        };
        const auto tellsVersion = [](AgentProcess& process) {
            return process.output().find("Running on macOS") != std::string::npos;
        };
        const std::map<std::string, std::string> onDisplay{{"DISPLAY", display.name()}};
        std::printf("Start of a shell, median of %d\n", runs);
        std::printf("  %-32s %10s %8s %12s\n", "", "time", "ratio", "memory");
        const double baseline
            = row("Qt program with an empty window", 0, QUILLET_EMPTY_WINDOW, onDisplay, isPainted);
        row("agent, desktop", baseline, QUILLET_AGENT, onDisplay, isPainted);
        row("agent, terminal", baseline, QUILLET_AGENT, {}, tellsVersion);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "shell_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
