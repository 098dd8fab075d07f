// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Platform.h"

#include <utility>

namespace platform {

/// A platform put together of five answers. The network, which may refer to the application, goes
/// first.
class AssembledPlatform : public Platform {
public:
    AssembledPlatform(std::unique_ptr<Application> application,
        std::unique_ptr<UserInterface> userInterface, std::unique_ptr<System> system,
        std::unique_ptr<Security> security, std::unique_ptr<Network> network)
        : m_application(std::move(application))
        , m_userInterface(std::move(userInterface))
        , m_system(std::move(system))
        , m_security(std::move(security))
        , m_network(std::move(network)) { }

    Application& application() override { return *m_application; }
    UserInterface& userInterface() override { return *m_userInterface; }
    System& system() override { return *m_system; }
    Security& security() override { return *m_security; }
    Network& network() override { return *m_network; }

private:
    const std::unique_ptr<Application> m_application;
    const std::unique_ptr<UserInterface> m_userInterface;
    const std::unique_ptr<System> m_system;
    const std::unique_ptr<Security> m_security;
    const std::unique_ptr<Network> m_network;
};

} // namespace platform
