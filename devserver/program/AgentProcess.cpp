// SPDX-License-Identifier: MIT
#include "devserver/program/AgentProcess.h"

#include "foundation/WordPointers.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace devserver {

namespace {

constexpr std::chrono::milliseconds lookAgainAfter{5};

class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&m_actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }

    void open(int descriptor, const std::string& path, int flags) {
        posix_spawn_file_actions_addopen(&m_actions, descriptor, path.c_str(), flags, 0600);
    }
    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

std::vector<std::string> environmentWith(const std::string& name, const std::string& value) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!std::string_view(*entry).starts_with(name + "=")) {
            environment.emplace_back(*entry);
        }
    }
    environment.push_back(name + "=" + value);
    return environment;
}

std::string endInWords(int status) {
    if (WIFEXITED(status)) {
        return "ended with status " + std::to_string(WEXITSTATUS(status));
    }
    return "was ended by signal " + std::to_string(WTERMSIG(status)) + " ("
        + strsignal(WTERMSIG(status)) + ")";
}

} // namespace

AgentProcess::~AgentProcess() {
    if (m_id > 0 && !m_end) {
        kill(m_id, SIGKILL);
        while (waitpid(m_id, nullptr, 0) < 0 && errno == EINTR) { }
    }
}

std::optional<std::string> AgentProcess::start(const Start& start) {
    std::vector<std::string> arguments = {start.program};
    arguments.insert(arguments.end(), start.arguments.begin(), start.arguments.end());
    std::vector<std::string> environment = environmentWith("SSL_CERT_FILE", start.authorityFile);
    FileActions actions;
    if (isatty(STDIN_FILENO) == 0) {
        actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    }
    const int error = posix_spawn(&m_id, start.program.c_str(), actions.get(), nullptr,
        pointersTo(arguments).data(), pointersTo(environment).data());
    if (error != 0) {
        m_id = -1;
        return start.program + " cannot be started: " + std::strerror(error);
    }
    return std::nullopt;
}

std::optional<std::string> AgentProcess::waitForEnd(std::chrono::milliseconds timeout) {
    const auto limit = std::chrono::steady_clock::now() + timeout;
    while (!m_end) {
        int status = 0;
        const pid_t ended = waitpid(m_id, &status, WNOHANG);
        if (ended == m_id) {
            m_end = endInWords(status);
            m_hasSucceeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        } else if (std::chrono::steady_clock::now() >= limit) {
            return std::nullopt;
        } else {
            std::this_thread::sleep_for(lookAgainAfter);
        }
    }
    return m_end;
}

} // namespace devserver
