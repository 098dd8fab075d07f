// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/MemoryPlatform.h"

/// The platform in memory with another network.
class PlatformWithNetwork : public platform::Platform {
public:
    explicit PlatformWithNetwork(platform::Network& network)
        : m_network(network)
        , m_scope(*this) { }

    MemoryApplication& application() override { return memory.application(); }
    MemoryUserInterface& userInterface() override { return memory.userInterface(); }
    MemorySystem& system() override { return memory.system(); }
    ScriptedKeychain& security() override { return memory.security(); }
    platform::Network& network() override { return m_network; }

    MemoryPlatform memory;

private:
    platform::Network& m_network;
    platform::PlatformScope m_scope;
};
