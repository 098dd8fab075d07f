// SPDX-License-Identifier: MIT
#include "tests/e2e/AgentProcess.h"

#include "foundation/WordPointers.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* logFile = "/tmp/Quillet.log";

/// Both ends are closed in children unless handed over on purpose.
std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    return ends;
}

std::uintmax_t sizeOrZero(const fs::path& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

/// What the log was given since it had this size, also when an agent put it aside in the meantime.
std::string logSince(std::uintmax_t size) {
    if (sizeOrZero(logFile) < size) {
        return contentOf(std::string(logFile) + ".1", size) + contentOf(logFile, 0);
    }
    return contentOf(logFile, size);
}

/// Whether a line begins like "2026-11-21 10:00:00.123 ZqMacClient[".
bool hasLogPrefix(const std::string& line) {
    constexpr std::string_view form = "dddd-dd-dd dd:dd:dd.ddd ZqMacClient[";
    if (line.size() < form.size()) {
        return false;
    }
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool isDigit = line[i] >= '0' && line[i] <= '9';
        if (form[i] == 'd' ? !isDigit : line[i] != form[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

AgentProcess::AgentProcess(const AgentHome& home, const std::vector<std::string>& arguments,
    const std::map<std::string, std::string>& furtherEnvironment, const std::string& program)
    : m_errorFile(home.path() / ("errors-" + std::to_string(std::rand())))
    , m_logStart(sizeOrZero(logFile)) {
    std::vector<std::string> words = home.launcher();
    words.push_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    auto variables = home.environment();
    for (const auto& [name, value] : furtherEnvironment) {
        variables[name] = value;
    }
    std::vector<std::string> settings;
    for (const auto& [name, value] : variables) {
        settings.push_back(name + "=" + value);
    }
    const auto input = makePipe();
    const auto output = makePipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(
        &actions, STDERR_FILENO, m_errorFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int result = posix_spawn(&m_pid, words.front().c_str(), &actions, nullptr,
        pointersTo(words).data(), pointersTo(settings).data());
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    m_input = input[1];
    m_outputEnd = output[0];
    if (result != 0) {
        throw std::runtime_error("the agent cannot be started");
    }
    m_reader = std::thread([this] { readOutput(); });
}

AgentProcess::~AgentProcess() {
    if (!m_end) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    closeInput();
    m_reader.join();
    close(m_outputEnd);
}

void AgentProcess::readOutput() {
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t count = read(m_outputEnd, buffer.data(), buffer.size());
        const std::lock_guard lock(m_mutex);
        if (count <= 0) {
            m_outputEnded = true;
            return;
        }
        m_output.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

void AgentProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the agent does not read");
    }
}

void AgentProcess::closeInput() {
    if (m_input >= 0) {
        close(m_input);
        m_input = -1;
    }
}

void AgentProcess::terminate() {
    kill(m_pid, SIGTERM);
}

bool AgentProcess::waitForOutput(const std::string& text, std::chrono::milliseconds time) {
    const auto holdsText = [&] { return output().find(text) != std::string::npos; };
    eventually(
        [&] {
            const std::lock_guard lock(m_mutex);
            return m_outputEnded || m_output.find(text) != std::string::npos;
        },
        time);
    return holdsText();
}

bool AgentProcess::waitForLog(const std::string& text) const {
    return eventually([&] {
        for (const std::string& line : log()) {
            if (line.starts_with(text)) {
                return true;
            }
        }
        return false;
    });
}

bool AgentProcess::isRunning() {
    int status = 0;
    if (!m_end && waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_end = WIFEXITED(status) ? ProcessEnd{WEXITSTATUS(status), 0}
                                  : ProcessEnd{-1, WTERMSIG(status)};
    }
    return !m_end;
}

std::optional<ProcessEnd> AgentProcess::waitForEnd() {
    eventually([&] { return !isRunning(); });
    eventually([&] { // what it wrote last may still stand in the pipe
        const std::lock_guard lock(m_mutex);
        return m_outputEnded;
    });
    return m_end;
}

std::string AgentProcess::output() {
    const std::lock_guard lock(m_mutex);
    return m_output;
}

std::size_t AgentProcess::peakMemory() const {
    // Not the maximum that waiting for the end gives: that one counts this process too, whose
    // memory the child shares until it runs its own program.
    const std::string status = contentOf("/proc/" + std::to_string(m_pid) + "/status");
    const std::string_view label = "VmHWM:";
    const std::size_t found = status.find(label);
    return found == std::string::npos
        ? 0
        : std::strtoull(status.c_str() + found + label.size(), nullptr, 10) * 1024;
}

std::vector<std::string> AgentProcess::rawLog() const {
    const std::string text = logSince(m_logStart) + contentOf(m_errorFile);
    const std::string mine = " ZqMacClient[" + std::to_string(m_pid) + ":";
    std::vector<std::string> lines;
    bool inMine = false;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        if (hasLogPrefix(line)) {
            inMine = line.find(mine) != std::string::npos;
            if (inMine) {
                lines.push_back(line);
            }
        } else if (inMine) {
            lines.back() += "\n" + line; // a text with line breaks
        }
        start = end + 1;
    }
    return lines;
}

std::vector<std::string> AgentProcess::log() const {
    std::vector<std::string> lines = rawLog();
    for (std::string& line : lines) {
        line.erase(0, line.find("] ") + 2);
    }
    if (AgentHome::isUnderPolicy()) {
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("Policy: "); });
    }
    return lines;
}
