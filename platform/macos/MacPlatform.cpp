// SPDX-License-Identifier: MIT
// The platform of macOS.
#include "platform/macos/MacPlatform.h"

#include <csignal>

namespace platform {

namespace {

class MacPlatform : public Platform {
public:
    MacPlatform(int argc, char** argv)
        : m_application(makeMacApplication(argc, argv, m_modalWork)) { }

    Application& application() override { return *m_application; }
    UserInterface& userInterface() override { return *m_userInterface; }
    System& system() override { return *m_system; }
    Security& security() override { return *m_security; }
    Network& network() override { return *m_network; }

private:
    ModalWork m_modalWork;
    const std::unique_ptr<Application> m_application;
    const std::unique_ptr<UserInterface> m_userInterface = makeMacUserInterface(m_modalWork);
    const std::unique_ptr<System> m_system = makeMacSystem();
    const std::unique_ptr<Security> m_security = makeMacSecurity();
    const std::unique_ptr<Network> m_network = makeMacNetwork(*m_application);
};

} // namespace

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    return std::make_unique<MacPlatform>(argc, argv);
}

} // namespace platform
