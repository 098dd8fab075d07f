// SPDX-License-Identifier: MIT
// The platform of macOS.
#include "platform/macos/MacPlatform.h"

#include "platform/Trust.h"
#include "platform/macos/ManagedPreferences.h"
#include "platform/shared/CommandLine.h"
#include "platform/shared/ComparableHost.h"
#include "platform/shared/CoreFile.h"
#include "platform/shared/LaterWork.h"

#include <csignal>
#include <cstdlib>

namespace platform {

namespace {

class MacPlatform final : public Platform, public Trust {
public:
    MacPlatform(int argc, char** argv, std::vector<std::string> arguments)
        : m_modalWork(std::make_shared<ModalWork>(mainDispatchQueue(), makeDispatchSemaphore))
        , m_application(makeMacApplication(argc, argv, m_modalWork))
        , m_userInterface(makeMacUserInterface(m_modalWork))
        , m_system(makeMacSystem(std::move(arguments)))
        , m_security(
              makeMacSecurity(*m_userInterface, [this] { m_application->exit(EXIT_SUCCESS); }))
        , m_network(makeMacNetwork(*m_application))
        , m_later(mainDispatchQueue(),
              [this](auto work) { m_application->performOnMainThread(std::move(work)); }) { }

    Application& application() override { return *m_application; }
    UserInterface& userInterface() override { return *m_userInterface; }
    System& system() override { return *m_system; }
    Security& security() override { return *m_security; }
    Network& network() override { return *m_network; }

    ManagedPolicy managedPolicy() override {
        return managedPreferences(m_system->bundleIdentifier().value_or(std::string()));
    }
    std::optional<NetworkHost> hostToConnect(const std::string& host) override {
        return asciiHostToConnect(host);
    }
    void setConnectionRule(ConnectionRule rule) override {
        m_network->setConnectionRule(std::move(rule));
    }
    bool agrees(const NSAlert& question) override { return agreesInAlert(*m_modalWork, question); }
    /// The keychain stays as it is: it is that of all the user's programs.
    void beginSession(const std::string& server, const std::string&) override {
        m_userInterface->showServer(server);
        m_security->beginSession();
    }
    void lockTokens() override { m_security->lock(); }
    void later(std::chrono::milliseconds time, std::function<void()> work) override {
        m_later.set(time, std::move(work));
    }

private:
    const std::shared_ptr<ModalWork> m_modalWork;
    const std::unique_ptr<Application> m_application;
    const std::unique_ptr<MacUserInterface> m_userInterface;
    const std::unique_ptr<System> m_system;
    const std::unique_ptr<MacSecurity> m_security;
    const std::unique_ptr<MessageNetwork> m_network; // goes first, for it refers to the application
    LaterWork m_later;
};

} // namespace

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    forbidCoreFile();
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> arguments = takeArguments(argc, argv);
    return std::make_unique<MacPlatform>(argc, argv, std::move(arguments));
}

} // namespace platform
