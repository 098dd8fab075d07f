// SPDX-License-Identifier: MIT
#include "tests/e2e/AgentProcess.h"

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

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::uintmax_t sizeOrZero(const fs::path& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

std::string contentFrom(const fs::path& path, std::uintmax_t offset) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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

/// Root mounts as it is, others in a user namespace where they pass for root.
std::string userNamespace() {
    return geteuid() == 0 ? "" : "--map-root-user";
}

} // namespace

AgentHome::AgentHome() {
    if (isUnderPolicy() && canSetPolicy()) {
        setPolicy(R"({"version": 1})");
    }
    fs::create_directories(m_folder / "home");
    fs::create_directories(m_folder / "bin");
    makeTool("xdg-open");
    makeTool("xdg-mime");
}

bool AgentHome::isUnderPolicy() {
    return std::getenv("QUILLET_TEST_POLICY") != nullptr;
}

bool AgentHome::canSetPolicy() {
    static const bool can = std::system(("unshare --mount " + userNamespace()
                                + " mount --make-rprivate / >/dev/null 2>&1")
                                            .c_str())
        == 0;
    return can;
}

void AgentHome::setPolicy(const std::string& text, const std::string& change) {
    for (const char* const folder : {"policy/old", "policy/etc"}) {
        fs::create_directories(m_folder / folder);
    }
    writeFile(m_folder / "policy/policy.json", text);
    writeFile(m_folder / "policy/change", change);
    m_hasPolicy = true;
}

/// In a mount namespace of its own, /etc becomes a folder of links to what was there, and the
/// policy's folder.
std::vector<std::string> AgentHome::launcher() const {
    if (!m_hasPolicy) {
        return {};
    }
    constexpr const char* script = "mount --make-rprivate / && mount --rbind /etc $0/old"
                                   " && rm -rf $0/etc/* && ln -s $0/old/* $0/etc/"
                                   " && rm -f $0/etc/quillet && mkdir $0/etc/quillet"
                                   " && cp $0/policy.json $0/etc/quillet/ && cd $0/etc/quillet"
                                   " && chmod 755 . && chmod 644 policy.json && . $0/change"
                                   " && mount --bind $0/etc /etc && cd / && exec \"$@\"";
    std::vector<std::string> words{"/usr/bin/unshare", "--mount"};
    if (const std::string option = userNamespace(); !option.empty()) {
        words.push_back(option);
    }
    words.insert(words.end(), {"/bin/sh", "-c", script, (m_folder / "policy").string()});
    return words;
}

void AgentHome::run(const std::string& command) const {
    const std::string log = (m_folder / "command.log").string();
    if (std::system((command + " >" + log + " 2>&1").c_str()) != 0) {
        throw std::runtime_error(command + ": " + contentOf(log));
    }
}

void AgentHome::makeIdentities(int count) const {
    fs::create_directories(databaseFolder());
    run(std::string(QUILLET_MAKE_IDENTITIES) + " " + databaseFolder().string() + " "
        + std::to_string(count));
}

void AgentHome::makeEmptyDatabase() const {
    fs::create_directories(databaseFolder());
    run("certutil -N --empty-password -d sql:" + databaseFolder().string());
}

void AgentHome::makeEllipticIdentity() const {
    makeEmptyDatabase();
    makeSelfSigned("-k ec -q nistp256");
}

void AgentHome::makeProtectedIdentity(const std::string& password) const {
    const fs::path file = m_folder / "password";
    writeFile(file, password + "\n");
    fs::create_directories(databaseFolder());
    run("certutil -N -d sql:" + databaseFolder().string() + " -f " + file.string());
    makeSelfSigned("-k rsa -g 2048 -f " + file.string());
}

/// Adds a self-signed identity with a new key to the database.
void AgentHome::makeSelfSigned(const std::string& keyOptions) const {
    const fs::path noise = m_folder / "noise"; // for a key that signs nothing of worth
    writeFile(noise, std::string(2048, 'n'));
    run("certutil -S -x -n signer -s 'CN=Example Signer' -t u,u,u -z " + noise.string()
        + " -d sql:" + databaseFolder().string() + " " + keyOptions);
}

void AgentHome::makeTool(const std::string& name, int exitStatus) const {
    const fs::path tool = m_folder / "bin" / name;
    const std::string noted = (m_folder / (name + ".call")).string();
    writeFile(tool,
        "#!/bin/sh\nprintf '%s\\n' \"$@\" >" + noted + ".new\nmv " + noted + ".new " + noted
            + "\nexit " + std::to_string(exitStatus) + "\n");
    fs::permissions(tool, fs::perms::owner_all);
}

bool AgentHome::toolWasCalled(const std::string& name) const {
    return fs::exists(m_folder / (name + ".call"));
}

std::string AgentHome::waitForToolCall(const std::string& name) const {
    eventually([&] { return toolWasCalled(name); });
    return contentOf(m_folder / (name + ".call"));
}

std::map<std::string, std::string> AgentHome::environment() const {
    std::map<std::string, std::string> variables{
        {"HOME", (m_folder / "home").string()},
        {"PATH", (m_folder / "bin").string() + ":/usr/bin:/bin"}, {"LANG", "C.UTF-8"},
        {"XDG_DATA_DIRS", (m_folder / "system").string()}, // nothing that is installed here
    };
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS",
             "GCOV_PREFIX", "GCOV_PREFIX_STRIP"}) {
        if (const char* value = std::getenv(name)) {
            variables[name] = value;
        }
    }
    return variables;
}

std::map<std::string, std::string> notingLoadedFiles(const AgentHome& home) {
    return {{"LD_DEBUG", "files"}, {"LD_DEBUG_OUTPUT", (home.path() / "loaded").string()}};
}

std::string loadedFiles(const AgentHome& home, pid_t pid) {
    return contentOf(home.path() / ("loaded." + std::to_string(pid)));
}

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
    const std::string text = contentFrom(logFile, m_logStart) + contentOf(m_errorFile);
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
