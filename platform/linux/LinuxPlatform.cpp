// SPDX-License-Identifier: MIT
// The platform of a Linux terminal.
#include "BundleInfo.h"
#include "platform/Platform.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LinuxSystem.h"
#include "platform/linux/TerminalUserInterface.h"
#include "platform/linux/net/LinuxNetwork.h"
#include "platform/linux/security/NssSecurity.h"

#include <csignal>

namespace platform {

namespace {

std::string userAgent() {
    return "Quillet/" + std::string(bundleVersion);
}

class LinuxPlatform : public Platform {
public:
    LinuxPlatform(int argc, char** argv)
        : m_system(argc, argv)
        , m_userInterface(m_application)
        , m_security(m_userInterface)
        , m_network(m_application, {.userAgent = userAgent()}) {
        m_application.setNetwork(&m_network);
    }
    ~LinuxPlatform() override { m_application.setNetwork(nullptr); }

    Application& application() override { return m_application; }
    UserInterface& userInterface() override { return m_userInterface; }
    System& system() override { return m_system; }
    Security& security() override { return m_security; }
    Network& network() override { return m_network; }

private:
    LinuxApplication m_application;
    LinuxSystem m_system;
    TerminalUserInterface m_userInterface;
    NssSecurity m_security;
    linux_::LinuxNetwork m_network;
};

} // namespace

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    return std::make_unique<LinuxPlatform>(argc, argv);
}

} // namespace platform
