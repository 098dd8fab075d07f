// SPDX-License-Identifier: MIT
// What a WebSocket does by itself while the main thread is busy: beats, and noticing a dead peer.
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <gtest/gtest.h>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;

using platform::WebSocketTimers;
using platform::linux_::LinuxNetwork;
using platform::linux_::LinuxNetworkOptions;
using std::chrono::milliseconds;

class WebSocketTimersTest : public testing::Test {
protected:
    std::shared_ptr<platform::WebSocket> open(LinuxNetwork& network, const TestServer& server) {
        const auto socket
            = network.openWebSocket({"localhost", server.port(), "/", true, {}}, m_delegate);
        EXPECT_TRUE(m_application.runUntil([this] { return m_delegate->opened; }));
        return socket;
    }

    /// How a session with this server and these timers ends.
    std::string endWith(const WebSocketScript& script, const WebSocketTimers& timers) {
        const TestServer server(m_context, webSocketScript(script));
        LinuxNetwork network(m_application);
        const auto socket = open(network, server);
        socket->setTimers(timers);
        EXPECT_TRUE(m_application.runUntil([this] { return m_delegate->isClosed(); }));
        return m_delegate->reasons.at(0);
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    TestApplication m_application;
    const std::shared_ptr<RecordingDelegate> m_delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(WebSocketTimersTest, BeatsGoOutWhileTheMainThreadIsBlocked) {
    std::promise<std::string> received;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        std::string messages;
        for (int i = 0; i < 5; ++i) {
            messages += readMessage(socket) + '|';
        }
        received.set_value(messages);
        readToTheEnd(socket);
    }));
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    socket->send({"first"});
    socket->setTimers({.beat = "beat", .beatInterval = milliseconds(20)});
    auto future = received.get_future();
    ASSERT_EQ(future.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(future.get(), "first|beat|beat|beat|beat|");
}

TEST_F(WebSocketTimersTest, TimersSetBeforeTheConnectionStandsCountFromThen) {
    std::promise<std::string> received;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        received.set_value(readMessage(socket));
        readToTheEnd(socket);
    }));
    LinuxNetwork network(m_application);
    const auto socket
        = network.openWebSocket({"localhost", server.port(), "/", true, {}}, m_delegate);
    socket->setTimers({.beat = "beat", .beatInterval = milliseconds(20)});
    auto future = received.get_future();
    ASSERT_EQ(future.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(future.get(), "beat");
}

TEST_F(WebSocketTimersTest, SilentServerIsLost) {
    EXPECT_EQ(endWith(readToTheEnd, {.silenceLimit = milliseconds(200)}),
        "localhost has been silent for 0.2 seconds");
}

TEST_F(WebSocketTimersTest, BeatsOfOnesOwnDoNotHideTheSilence) {
    EXPECT_EQ(
        endWith(readToTheEnd,
            {.beat = "\n", .beatInterval = milliseconds(10), .silenceLimit = milliseconds(200)}),
        "localhost has been silent for 0.2 seconds");
}

TEST_F(WebSocketTimersTest, PingIsASignOfLife) {
    const std::string reason = endWith(
        [](ServerWebSocket& socket) {
            for (int i = 0; i < 40; ++i) {
                socket.ping({});
                std::this_thread::sleep_for(milliseconds(100)); // the pace, waiting for nothing
            }
            socket.close(beast::websocket::close_code::normal);
        },
        {.silenceLimit = milliseconds(2000)});
    EXPECT_EQ(reason, "the server closed the connection");
}

TEST_F(WebSocketTimersTest, DeadlineIsKeptThoughDataComesIn) {
    const std::string reason = endWith(
        [](ServerWebSocket& socket) {
            while (true) {
                socket.write(asio::buffer("\n", 1));
                std::this_thread::sleep_for(milliseconds(5)); // the pace, waiting for nothing
            }
        },
        {.deadline = milliseconds(300)});
    EXPECT_EQ(reason, "localhost did not answer within 0.3 seconds");
}

TEST_F(WebSocketTimersTest, ServerThatTakesInNothingIsLost) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(
        m_context, webSocketScript([&](ServerWebSocket&) { waiting.wait_for(patience); }));
    LinuxNetworkOptions options;
    options.stallLimit = milliseconds(3000);
    LinuxNetwork network(m_application, options);
    const auto socket = open(network, server);
    socket->send({std::string(std::size_t{16} << 20, 'L')});
    EXPECT_TRUE(m_application.runUntil([this] { return m_delegate->isClosed(); }));
    EXPECT_EQ(m_delegate->reasons.at(0), "localhost did not answer within 3 seconds");
    over.set_value();
}

} // namespace
