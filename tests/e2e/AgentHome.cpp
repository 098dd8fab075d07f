// SPDX-License-Identifier: MIT
#include "tests/e2e/AgentHome.h"

#include "tests/support/Eventually.h"

#include <cstdlib>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

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
    static const bool can
        = std::system(("unshare --mount " + userNamespace()
              + " sh -c 'mount --make-rprivate / && mount -t tmpfs policy /mnt' >/dev/null 2>&1")
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
    constexpr const char* script
        = "mount --make-rprivate / && mount --rbind /etc $0/old"
          " && mount -t tmpfs -o mode=755 policy $0/etc && ln -s $0/old/* $0/etc/"
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
