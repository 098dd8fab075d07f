// SPDX-License-Identifier: MIT
#include "platform/linux/security/ModuleList.h"

#include "foundation/WordPointers.h"
#include "platform/linux/security/ProbeAnswer.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// In double quotes, as NSS reads it.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}

std::string loadTextOf(const CardModule& module) {
    return "library=" + quoted(module.library) + " name=" + quoted(module.name);
}

/// Modules that only tell whom to trust.
bool holdsNoKeys(const std::string& library) {
    return library.empty() || library.find("nssckbi") != std::string::npos
        || library.find("p11-kit-trust") != std::string::npos;
}

fs::path probeProgram() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return program.parent_path() / QUILLET_PRIVATE_FOLDER / probe::programName;
}

} // namespace

std::vector<CardModule> modulesListedIn(const fs::path& database) {
    std::vector<CardModule> modules;
    CardModule module;
    const auto take = [&] {
        if (!holdsNoKeys(module.library)) {
            module.source = database;
            modules.push_back(module);
        }
        module = {};
    };
    std::ifstream file(database / "pkcs11.txt");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (line.empty()) {
            take();
        } else if (equals != std::string::npos && line[0] != '#') {
            const std::string key = line.substr(0, equals);
            const std::string value = line.substr(equals + 1);
            if (key == "library") {
                module.library = value;
            } else if (key == "name") {
                module.name = value;
            }
            module.loadText += (module.loadText.empty() ? "" : " ");
            module.loadText += key + "=" + quoted(value);
        }
    }
    take();
    return modules;
}

ModuleTrial::ModuleTrial(std::vector<CardModule> listed, bool withConfigured)
    : m_modules(std::move(listed))
    , m_withConfigured(withConfigured) {
    if (withConfigured || !m_modules.empty()) {
        start();
    }
}

ModuleTrial::~ModuleTrial() {
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    if (m_output >= 0) {
        close(m_output);
    }
}

void ModuleTrial::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    m_output = ends[0];
    std::vector<std::string> words = {probeProgram()};
    if (m_withConfigured) {
        words.emplace_back(probe::configuredOption);
    }
    for (const CardModule& module : m_modules) {
        words.push_back(module.library);
    }
    const std::vector<char*> arguments = pointersTo(words);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0) {
        m_process = child;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
}

/// What the other process says within its time.
std::string ModuleTrial::readAnswer() const {
    const auto limit = Clock::now() + moduleLimit + std::chrono::seconds(2);
    std::string answer;
    while (m_process > 0) {
        const auto rest
            = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now());
        pollfd ready{m_output, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(std::max<long>(rest.count(), 0))) <= 0) {
            break;
        }
        char piece[4096];
        const ssize_t count = read(m_output, piece, sizeof piece);
        if (count <= 0) {
            break;
        }
        answer.append(piece, static_cast<std::size_t>(count));
    }
    return answer;
}

void ModuleTrial::note(const std::string& line) {
    const std::size_t first = line.find('\t');
    const std::size_t second = line.find('\t', first + 1);
    if (first == std::string::npos || second == std::string::npos) {
        return;
    }
    const std::string file = line.substr(first + 1, second - first - 1);
    const std::string problem = line.substr(second + 1);
    if (first == 0 && m_answered < m_modules.size()) {
        m_modules[m_answered].library = file;
        m_modules[m_answered++].problem = problem;
        return;
    }
    CardModule module{"p11-kit", line.substr(0, first), file, "", problem};
    module.loadText = loadTextOf(module);
    m_modules.push_back(std::move(module));
}

std::vector<CardModule> ModuleTrial::modules() {
    const std::size_t listed = m_modules.size();
    const std::string answer = readAnswer();
    for (std::size_t start = 0, end = 0; (end = answer.find('\n', start)) != std::string::npos;
         start = end + 1) {
        note(answer.substr(start, end - start));
    }
    for (std::size_t i = m_answered; i < listed; ++i) {
        m_modules[i].problem = "it could not be tried";
    }
    if (m_withConfigured && !answer.ends_with(probe::lastLine + std::string("\n"))) {
        m_modules.push_back({"p11-kit", "p11-kit", "", "", "its modules could not be tried"});
    }
    const bool hasProxy = std::any_of(m_modules.begin(), m_modules.end(), [](const auto& module) {
        return module.source != "p11-kit" && module.problem.empty()
            && module.library.find("p11-kit-proxy") != std::string::npos;
    });
    std::vector<CardModule> once;
    for (CardModule& module : m_modules) {
        const bool isKnown = std::any_of(once.begin(), once.end(),
            [&](const auto& other) { return other.library == module.library; });
        // The proxy brings all that p11-kit has.
        if (!isKnown && !(hasProxy && module.source == "p11-kit")) {
            once.push_back(std::move(module));
        }
    }
    return once;
}

} // namespace platform
