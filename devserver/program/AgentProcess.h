// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace devserver {

/// A program started without a shell; it is killed when it is still running at the end.
class AgentProcess {
public:
    struct Start {
        std::string program; // a path
        std::vector<std::string> arguments;
        std::string authorityFile; // becomes SSL_CERT_FILE
    };

    AgentProcess() = default;
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;
    ~AgentProcess();

    /// Nothing on success, else the cause. Its output is ours; so is its standard input if that is
    /// a terminal, where it may ask for a password, and otherwise it is empty.
    std::optional<std::string> start(const Start& start);
    /// How it ended ("ended with status 0"), or nothing while it runs after `timeout`.
    std::optional<std::string> waitForEnd(std::chrono::milliseconds timeout);
    /// Whether it has ended by itself with status 0.
    bool hasSucceeded() const { return m_hasSucceeded; }
    pid_t id() const { return m_id; }

private:
    pid_t m_id = -1;
    std::optional<std::string> m_end;
    bool m_hasSucceeded = false;
};

} // namespace devserver
