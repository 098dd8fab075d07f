// SPDX-License-Identifier: MIT
#include "tests/linux-desktop/Daemon.h"

#include "foundation/WordPointers.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int limitInMilliseconds = 60'000;
constexpr int toldOn = 3;

/// The first line, without its end; empty when there is none.
std::string readLine(int descriptor) {
    std::string line;
    while (true) {
        pollfd readable{descriptor, POLLIN, 0};
        char c = '\0';
        if (poll(&readable, 1, limitInMilliseconds) <= 0 || read(descriptor, &c, 1) != 1) {
            return {};
        }
        if (c == '\n') {
            return line;
        }
        line += c;
    }
}

} // namespace

Daemon::Daemon(const std::vector<std::string>& command,
    const std::map<std::string, std::string>& environment) {
    std::vector<std::string> words = command;
    std::vector<std::string> settings;
    for (const auto& [name, value] : environment) {
        settings.push_back(name + "=" + value);
    }
    std::array<int, 2> told{};
    if (pipe2(told.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    // An end that is 3 itself would keep its close-on-exec flag, and be closed.
    const int end = fcntl(told[1], F_DUPFD_CLOEXEC, toldOn + 1);
    close(told[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, end, toldOn);
    const int result = posix_spawnp(&m_pid, words[0].c_str(), &actions, nullptr,
        pointersTo(words).data(), pointersTo(settings).data());
    posix_spawn_file_actions_destroy(&actions);
    close(end);
    m_line = result == 0 ? readLine(told[0]) : "";
    close(told[0]);
    if (m_line.empty()) {
        throw std::runtime_error(words[0] + " does not start");
    }
}

Daemon::~Daemon() {
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
}
