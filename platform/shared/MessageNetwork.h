// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Network.h"
#include "platform/shared/MessageConnection.h"

namespace platform {

/// The WebSockets of a network whose platform sends and receives whole messages. `application` and
/// `queue` outlive it and its connections.
class MessageNetwork : public Network {
public:
    MessageNetwork(Application& application, WorkQueue& queue);

    std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) final;
    void flush(std::chrono::milliseconds limit) final;

protected:
    /// A task that is not resumed yet. `url` is absolute, with the scheme "wss" or "ws".
    virtual std::unique_ptr<MessageTask> makeMessageTask(const std::string& url,
        const std::vector<std::string>& subprotocols, std::shared_ptr<MessageTaskDelegate> delegate)
        = 0;

private:
    struct OpenConnections;

    Application& m_application;
    WorkQueue& m_queue;
    const std::shared_ptr<OpenConnections> m_open;
};

} // namespace platform
