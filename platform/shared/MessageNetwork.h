// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Network.h"
#include "platform/Trust.h"
#include "platform/shared/MessageConnection.h"

#include <mutex>

namespace platform {

/// The WebSockets of a network whose platform sends and receives whole messages. `application` and
/// `queue` outlive it and its connections.
class MessageNetwork : public Network {
public:
    MessageNetwork(Application& application, WorkQueue& queue);

    std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) final;
    void flush(std::chrono::milliseconds limit) final;

    /// As `Trust` has it.
    void setConnectionRule(ConnectionRule rule);

protected:
    /// Words that refuse a connection, or nothing. From any thread.
    std::optional<std::string> refusal(const std::string& host, std::uint64_t port);

    /// A task that is not resumed yet. `url` is absolute, with the scheme "wss" or "ws".
    virtual std::unique_ptr<MessageTask> makeMessageTask(const std::string& url,
        const std::vector<std::string>& subprotocols, std::shared_ptr<MessageTaskDelegate> delegate)
        = 0;

private:
    struct OpenConnections;

    Application& m_application;
    WorkQueue& m_queue;
    const std::shared_ptr<OpenConnections> m_open;
    std::mutex m_ruleMutex;
    ConnectionRule m_rule;
};

} // namespace platform
