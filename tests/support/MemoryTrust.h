// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"
#include "platform/shared/ComparableHost.h"
#include "tests/support/MemoryPlatform.h"

#include <functional>
#include <map>
#include <string>

/// The platform in memory with an administrator.
class MemoryTrust : public platform::Platform, public platform::Trust {
public:
    explicit MemoryTrust(MemoryPlatform& memory)
        : m_memory(memory)
        , m_scope(*this) { }

    MemoryApplication& application() override { return m_memory.application(); }
    MemoryUserInterface& userInterface() override { return m_memory.userInterface(); }
    MemorySystem& system() override { return m_memory.system(); }
    ScriptedKeychain& security() override { return m_memory.security(); }
    MemoryNetwork& network() override { return m_memory.network(); }

    platform::ManagedPolicy managedPolicy() override { return policy; }
    void setConnectionRule(platform::ConnectionRule newRule) override { rule = std::move(newRule); }
    /// Knows a few international names alone.
    std::optional<platform::NetworkHost> hostToConnect(const std::string& host) override {
        const auto known = asciiNames.find(host);
        return known == asciiNames.end() ? platform::asciiHostToConnect(host)
                                         : platform::comparableHost(known->second, known->first);
    }
    bool agrees(const platform::NSAlert& question) override {
        questions.push_back(question);
        return m_memory.userInterface().runModal(question) == platform::NSAlertFirstButtonReturn;
    }

    void beginSession(
        const std::string& server, const std::function<std::string()>& roomCode) override {
        servers.push_back(server);
        roomCodes.push_back(roomCode());
        hasLockedTokens = true;
    }
    void lockTokens() override { hasLockedTokens = true; }
    void later(std::chrono::milliseconds time, std::function<void()> work) override {
        laterTime = time;
        laterWork = std::move(work);
    }

    platform::ManagedPolicy policy{
        platform::ManagedPolicy::State::absent, "/etc/quillet/policy.json", {}, {}};
    platform::ConnectionRule rule;
    std::map<std::string, std::string> asciiNames; // of international ones
    std::vector<platform::NSAlert> questions;
    std::vector<std::string> servers; // of the sessions that began
    std::vector<std::string> roomCodes; // of theirs
    bool hasLockedTokens = false;
    std::chrono::milliseconds laterTime{}; // of what was last left to be done
    std::function<void()> laterWork;

private:
    MemoryPlatform& m_memory;
    platform::PlatformScope m_scope;
};
