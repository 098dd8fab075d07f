// SPDX-License-Identifier: MIT
// The real agent as a child process, in a home folder of its own.
#pragma once

#include "tests/support/TemporaryFolder.h"

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

/// A user's surroundings: home with key database, and a PATH with desktop tools that only note
/// what they were asked.
class AgentHome {
public:
    AgentHome();

    const std::filesystem::path& path() const { return m_folder.path(); }
    std::filesystem::path databaseFolder() const { return m_folder / "home/.pki/nssdb"; }

    /// A database with `count` RSA-2048 identities.
    void makeIdentities(int count) const;
    void makeEmptyDatabase() const;
    /// A database with one identity on an elliptic curve.
    void makeEllipticIdentity() const;
    /// A database with a password and one RSA-2048 identity.
    void makeProtectedIdentity(const std::string& password) const;

    /// A desktop tool that notes its arguments, and then fails if it should.
    void makeTool(const std::string& name, int exitStatus = 0) const;
    /// The arguments that a tool was last called with, one a line; waits for the call.
    std::string waitForToolCall(const std::string& name) const;
    bool toolWasCalled(const std::string& name) const;

    std::map<std::string, std::string> environment() const;

    /// Whether the tests run with the policy that rules nothing, whose log lines `log` leaves out.
    static bool isUnderPolicy();
    /// Whether this user may mount for a process of its own, and so put a policy in its place.
    static bool canSetPolicy();
    /// The agents that are started from now on find this file where an administrator would put it.
    /// `change` is a shell command that is run in its folder, as root there.
    void setPolicy(const std::string& text, const std::string& change = "true");
    /// What stands before the agent's path for that; nothing without a policy.
    std::vector<std::string> launcher() const;

private:
    void run(const std::string& command) const;
    void makeSelfSigned(const std::string& keyOptions) const;

    TemporaryFolder m_folder;
    bool m_hasPolicy = false;
};

/// Variables with which the loader notes what a process loads, for `loadedFiles`: nobody may look
/// into the agent from outside.
std::map<std::string, std::string> notingLoadedFiles(const AgentHome& home);
/// The loader's notes on that process so far.
std::string loadedFiles(const AgentHome& home, pid_t pid);

class AgentProcess {
public:
    static constexpr std::chrono::seconds limit{60};

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

/// Polls until `condition` holds; false when the time is over.
template <typename Condition>
bool eventually(const Condition& condition, std::chrono::milliseconds time = AgentProcess::limit) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
