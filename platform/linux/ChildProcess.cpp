// SPDX-License-Identifier: MIT
#include "platform/linux/ChildProcess.h"

#include "foundation/WordPointers.h"

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&m_actions);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&m_actions, stream, "/dev/null", O_RDWR, 0);
        }
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setflags(
            &m_attributes, static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF));
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&m_attributes, &defaults);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawnattr_destroy(&m_attributes);
        posix_spawn_file_actions_destroy(&m_actions);
    }

    const posix_spawn_file_actions_t* actions() const { return &m_actions; }
    const posix_spawnattr_t* attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

std::optional<pid_t> start(const std::vector<std::string>& command) {
    std::vector<std::string> words = command;
    const std::vector<char*> arguments = pointersTo(words);
    const SpawnSettings settings;
    pid_t child = 0;
    if (posix_spawnp(&child, arguments[0], settings.actions(), settings.attributes(),
            arguments.data(), environ)
        != 0) {
        return std::nullopt;
    }
    return child;
}

} // namespace

bool startDetached(const std::vector<std::string>& command) {
    return start(command).has_value();
}

bool runToEnd(const std::vector<std::string>& command, std::chrono::milliseconds limit) {
    const std::optional<pid_t> child = start(command);
    if (!child) {
        return false;
    }
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, *child, 0));
    if (handle >= 0) {
        pollfd ended{handle, POLLIN, 0};
        const int ready = poll(&ended, 1, static_cast<int>(limit.count()));
        close(handle);
        if (ready <= 0) {
            return false;
        }
    }
    int status = 0;
    return waitpid(*child, &status, 0) == *child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace platform
