// SPDX-License-Identifier: MIT
#include "devserver/program/Command.h"

#include "devserver/session/AgentCommand.h"
#include "foundation/WordPointers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace devserver {

std::string shellText(const Command& command) {
    constexpr const char* plain
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+=:,@";
    std::string text;
    for (const std::string& word : command) {
        const bool isPlain = !word.empty() && word.find_first_not_of(plain) == std::string::npos;
        text += (text.empty() ? "" : " ") + (isPlain ? word : shellQuoted(word));
    }
    return text;
}

std::optional<std::string> runCommand(const Command& command, CommandOutput output) {
    Command words = command;
    const std::vector<char*> arguments = pointersTo(words);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output == CommandOutput::dropped) {
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
        }
    }
    pid_t id = -1;
    const int error = posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        return command[0] + " cannot be started: " + std::strerror(error);
    }
    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) { }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return std::nullopt;
    }
    return "\"" + shellText(command) + "\" failed";
}

std::string programInPath(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::string program = folder + "/" + name;
        if (folder.starts_with('/') && access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    return "";
}

} // namespace devserver
