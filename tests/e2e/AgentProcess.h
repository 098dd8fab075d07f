// SPDX-License-Identifier: MIT
// The real agent as a child process, in a home folder of its own.
#pragma once

#include "tests/e2e/AgentHome.h"
#include "tests/support/Eventually.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

/// How a process ended.
struct ProcessEnd {
    int status = -1; // when it exited
    int signal = 0; // when a signal ended it
    friend bool operator==(const ProcessEnd&, const ProcessEnd&) = default;
};

class AgentProcess {
public:
    static constexpr std::chrono::seconds limit = waitingLimit;

    /// `program` stands in for the agent where something is compared with it.
    AgentProcess(const AgentHome& home, const std::vector<std::string>& arguments,
        const std::map<std::string, std::string>& furtherEnvironment = {},
        const std::string& program = QUILLET_AGENT);
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;
    ~AgentProcess();

    void writeLine(const std::string& line);
    void closeInput();
    void terminate();

    /// Waits until standard output holds `text`; false when the time is over or output has ended.
    bool waitForOutput(const std::string& text, std::chrono::milliseconds time = limit);
    /// Waits until the log holds a line that begins with `text`.
    bool waitForLog(const std::string& text) const;
    /// Waits until the process and its output have ended.
    std::optional<ProcessEnd> waitForEnd();
    bool isRunning();

    /// All that was written to standard output so far.
    std::string output();
    /// What went to standard error while that was not the log.
    std::string standardError() const { return contentOf(m_errorFile); }
    /// This process's lines of the log, without their prefix.
    std::vector<std::string> log() const;
    /// The same with prefixes.
    std::vector<std::string> rawLog() const;
    pid_t pid() const { return m_pid; }
    /// The most memory that was resident at once so far, in bytes; while the process runs.
    std::size_t peakMemory() const;

private:
    void readOutput();

    pid_t m_pid = -1;
    int m_input = -1;
    int m_outputEnd = -1;
    std::filesystem::path m_errorFile;
    std::uintmax_t m_logStart = 0;
    std::optional<ProcessEnd> m_end;
    std::mutex m_mutex;
    std::string m_output;
    bool m_outputEnded = false;
    std::thread m_reader;
};
