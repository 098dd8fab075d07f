// SPDX-License-Identifier: MIT
// What p11-kit has configured, as this test wants it: mounted over the system's configuration, for
// this process and its children alone.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

class ConfiguredModules {
public:
    /// Nothing is configured.
    ConfiguredModules() {
        enterOwnMounts();
        std::filesystem::create_directory(m_folder / "modules");
        for (const char* place : {"/usr/share/p11-kit/modules", "/etc/pkcs11/modules"}) {
            if (std::filesystem::exists(place)
                && mount((m_folder / "modules").c_str(), place, nullptr, MS_BIND, nullptr) == 0) {
                m_mounted.emplace_back(place);
            }
        }
        if (m_mounted.empty()) {
            throw std::runtime_error("p11-kit's configuration cannot be replaced");
        }
    }
    ConfiguredModules(const ConfiguredModules&) = delete;
    ConfiguredModules& operator=(const ConfiguredModules&) = delete;
    ~ConfiguredModules() {
        for (const std::string& place : m_mounted) {
            umount2(place.c_str(), MNT_DETACH);
        }
    }

    /// `options` are further lines of the module's file (pkcs11.conf(5)).
    void add(const std::string& name, const std::string& library, const std::string& options = "") {
        writeFile(m_folder / "modules" / (name + ".module"),
            "module: " + library + "\n" + options + "\n");
    }

    /// One that p11-kit reaches through another program.
    void addRemote(const std::string& name, const std::string& command) {
        writeFile(m_folder / "modules" / (name + ".module"), "remote: |" + command + "\n");
    }

private:
    static void writeOnce(const char* path, const std::string& text) {
        std::ofstream(path) << text;
    }

    /// Only root may mount, and who is root in a world of one's own.
    static void enterOwnMounts() {
        static bool isDone = false;
        if (isDone) {
            return;
        }
        const std::string user = std::to_string(geteuid());
        const std::string group = std::to_string(getegid());
        if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) {
            throw std::runtime_error("no mounts of one's own");
        }
        if (user != "0") {
            writeOnce("/proc/self/setgroups", "deny");
            writeOnce("/proc/self/uid_map", "0 " + user + " 1");
            writeOnce("/proc/self/gid_map", "0 " + group + " 1");
        }
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        isDone = true;
    }

    TemporaryFolder m_folder;
    std::vector<std::string> m_mounted;
};
