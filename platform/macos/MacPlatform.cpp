// SPDX-License-Identifier: MIT
// The platform of macOS.
#include "platform/macos/MacPlatform.h"

#include "platform/Trust.h"
#include "platform/macos/ManagedPreferences.h"
#include "platform/shared/AssembledPlatform.h"
#include "platform/shared/ComparableHost.h"

#include <csignal>

namespace platform {

namespace {

class MacPlatform final : public AssembledPlatform, public Trust {
public:
    MacPlatform(std::shared_ptr<ModalWork> modalWork, std::unique_ptr<Application> application,
        std::unique_ptr<MessageNetwork> network)
        : MacPlatform{modalWork, *network, std::move(application), std::move(network)}
    // in this order
    { }

    ManagedPolicy managedPolicy() override {
        return managedPreferences(system().bundleIdentifier().value_or(std::string()));
    }
    std::optional<NetworkHost> hostToConnect(const std::string& host) override {
        return asciiHostToConnect(host);
    }
    void setConnectionRule(ConnectionRule rule) override {
        m_messageNetwork.setConnectionRule(std::move(rule));
    }
    bool agrees(const NSAlert& question) override { return agreesInAlert(*m_modalWork, question); }

private:
    MacPlatform(std::shared_ptr<ModalWork> modalWork, MessageNetwork& messageNetwork,
        std::unique_ptr<Application> application, std::unique_ptr<Network> network)
        : AssembledPlatform(std::move(application), makeMacUserInterface(modalWork),
            makeMacSystem(), makeMacSecurity(), std::move(network))
        , m_modalWork(std::move(modalWork))
        , m_messageNetwork(messageNetwork) { }

    const std::shared_ptr<ModalWork> m_modalWork;
    MessageNetwork& m_messageNetwork; // the platform's network
};

} // namespace

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    const auto modalWork = std::make_shared<ModalWork>(mainDispatchQueue(), makeDispatchSemaphore);
    auto application = makeMacApplication(argc, argv, modalWork);
    auto network = makeMacNetwork(*application);
    return std::make_unique<MacPlatform>(modalWork, std::move(application), std::move(network));
}

} // namespace platform
