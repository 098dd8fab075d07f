// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

/// WebSockets against a server on the loopback interface.
class WebSocketTest : public testing::Test {
protected:
    platform::WebSocketRequest requestFor(std::uint16_t port) const {
        return {"localhost", port, "/base/room/r%201", true, {"v12.stomp", "v11.stomp"}};
    }

    /// Opens a WebSocket to a server with this script and runs events until it is closed.
    void runSession(const WebSocketScript& script) {
        const TestServer server(m_context, webSocketScript(script));
        platform::linux_::LinuxNetwork network(m_application, m_options);
        const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
        EXPECT_TRUE(runUntilClosed());
    }

    bool runUntilClosed() {
        return m_application.runUntil([this] { return m_delegate->isClosed(); });
    }

    /// The reason with which a handshake ends that the server answers with this text.
    std::string refusalFor(const std::string& response) {
        const TestServer server(m_context, answering(response));
        platform::linux_::LinuxNetwork network(m_application, m_options);
        const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
        EXPECT_TRUE(runUntilClosed());
        EXPECT_FALSE(m_delegate->opened);
        return m_delegate->reasons.at(0);
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    TestApplication m_application;
    const std::shared_ptr<RecordingDelegate> m_delegate = std::make_shared<RecordingDelegate>();
    platform::linux_::LinuxNetworkOptions m_options;
};
