// SPDX-License-Identifier: MIT
#include "devserver/program/Browser.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace devserver {

std::optional<std::string> openInBrowser(const std::string& address) {
    std::string program = "xdg-open";
    std::string argument = address;
    const std::array<char*, 3> arguments = {program.data(), argument.data(), nullptr};
    pid_t id = -1;
    const int error = posix_spawnp(&id, "xdg-open", nullptr, nullptr, arguments.data(), environ);
    if (error != 0) {
        return "xdg-open cannot be started: " + std::string(std::strerror(error));
    }
    // It may stay as long as the browser does.
    std::thread([id] {
        while (waitpid(id, nullptr, 0) < 0 && errno == EINTR) { }
    }).detach();
    return std::nullopt;
}

} // namespace devserver
