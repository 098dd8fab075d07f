// SPDX-License-Identifier: MIT
// Measures how long both shells take to show their first line or window, and the memory that they
// then have, next to a Qt program that only shows an empty window.
#include "bench/Table.h"
#include "tests/e2e/AgentProcess.h"
#include "tests/linux-desktop/XDisplay.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int runs = 11;
constexpr double mebi = 1024.0 * 1024.0;

struct Start {
    double seconds = 0;
    double memory = 0; // bytes
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The bytes that are resident, libraries included.
double memoryOf(pid_t pid) {
    const std::string text = contentOf("/proc/" + std::to_string(pid) + "/status");
    const std::string_view label = "\nVmRSS:";
    const std::size_t found = text.find(label);
    if (found == std::string::npos) {
        throw std::runtime_error("the memory of the process is not told");
    }
    return std::strtod(text.c_str() + found + label.size(), nullptr) * 1024;
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
    const std::chrono::duration<double> time = Clock::now() - began;
    // All that a start loads is there once it has settled.
    double memory = 0;
    int same = 0;
    eventually([&] {
        const double now = memoryOf(process.pid());
        same = now == memory ? same + 1 : 0;
        memory = now;
        return same == 20;
    });
    return {time.count(), memory};
}

template <typename Condition>
Start medianOf(const std::string& program, const std::map<std::string, std::string>& environment,
    const Condition& isShown) {
    std::vector<double> times, memories;
    for (int run = 0; run < runs; ++run) {
        const Start start = measure(program, environment, isShown);
        times.push_back(start.seconds);
        memories.push_back(start.memory);
    }
    return {median(times), median(memories)};
}

std::string memoryText(double bytes) {
    return std::to_string(std::lround(bytes / mebi)) + " MiB";
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
        const std::string name = "Qt program with an empty window";
        const Start empty = medianOf(QUILLET_EMPTY_WINDOW, onDisplay, isPainted);
        const Start desktop = medianOf(QUILLET_AGENT, onDisplay, isPainted);
        const Start terminal = medianOf(QUILLET_AGENT, {}, tellsVersion);
        printRow("from process start to a painted window", desktop.seconds, name, empty.seconds);
        printRow("from process start to the terminal's first lines", terminal.seconds, name,
            empty.seconds);
        printRow("resident memory with a window", memoryText(desktop.memory),
            memoryText(empty.memory), name, desktop.memory / empty.memory);
        printRow("resident memory in a terminal", memoryText(terminal.memory),
            memoryText(empty.memory), name, terminal.memory / empty.memory);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "shell_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
