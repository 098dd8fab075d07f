// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Platform.h"
#include "platform/Trust.h"
#include "platform/shared/ComparableHost.h"
#include "platform/shared/LaterWork.h"
#include "platform/shared/MessageNetwork.h"
#include "platform/shared/ModalUserInterface.h"
#include "platform/shared/SessionSecurity.h"

#include <functional>

namespace platform {

/// A platform that sends whole messages, and on which an administrator may rule.
class MessagePlatform final : public Platform, public Trust {
public:
    /// The network, which refers to the application, goes first.
    struct Answers {
        std::unique_ptr<Application> application;
        std::unique_ptr<ModalUserInterface> userInterface;
        std::unique_ptr<System> system;
        std::unique_ptr<SessionSecurity> security;
        std::unique_ptr<MessageNetwork> network;
    };

    MessagePlatform(Answers answers, std::function<ManagedPolicy()> policy, WorkQueue& clock)
        : m_answers(std::move(answers))
        , m_policy(std::move(policy))
        , m_later(
              clock, [this](auto work) { application().performOnMainThread(std::move(work)); }) { }

    Application& application() override { return *m_answers.application; }
    UserInterface& userInterface() override { return *m_answers.userInterface; }
    System& system() override { return *m_answers.system; }
    Security& security() override { return *m_answers.security; }
    Network& network() override { return *m_answers.network; }

    ManagedPolicy managedPolicy() override { return m_policy(); }
    std::optional<NetworkHost> hostToConnect(const std::string& host) override {
        return asciiHostToConnect(host);
    }
    void setConnectionRule(ConnectionRule rule) override {
        m_answers.network->setConnectionRule(std::move(rule));
    }
    bool agrees(const NSAlert& question) override {
        return m_answers.userInterface->agrees(question);
    }
    /// The keychain stays as it is: it is that of all the user's programs.
    void beginSession(const std::string& server, const std::function<std::string()>&) override {
        m_answers.userInterface->showServer(server);
        m_answers.security->beginSession();
    }
    void lockTokens() override { m_answers.security->lock(); }
    void later(std::chrono::milliseconds time, std::function<void()> work) override {
        m_later.set(time, std::move(work));
    }

private:
    const Answers m_answers;
    const std::function<ManagedPolicy()> m_policy;
    LaterWork m_later;
};

} // namespace platform
