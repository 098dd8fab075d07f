// SPDX-License-Identifier: MIT
// WebSockets whose ends are busy, gone, or send more than is taken.
#include "tests/linux-network/WebSocketFixture.h"

#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <future>
#include <gtest/gtest.h>
#include <poll.h>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;

using platform::linux_::LinuxNetwork;

class WebSocketLoadTest : public WebSocketTest { };

TEST_F(WebSocketLoadTest, PingIsAnsweredWhileTheMainThreadIsBlocked) {
    std::promise<void> answered;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        for (int i = 0; i < 1000; ++i) { // as heart-beats while an alert is open
            socket.write(asio::buffer("\n", 1));
        }
        socket.control_callback([&](websocket::frame_type kind, beast::string_view) {
            if (kind == websocket::frame_type::pong) {
                answered.set_value();
            }
        });
        socket.ping({});
        readToTheEnd(socket);
    }));
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_EQ(answered.get_future().wait_for(patience), std::future_status::ready);
    EXPECT_LE(m_application.pending(), 2U); // the open, and all data as one
    EXPECT_TRUE(m_application.runUntil([this] { return m_delegate->data.size() == 1000; }));
    EXPECT_EQ(m_delegate->pieces, 1);
}

/// Whether the peer takes no more, for a while.
bool isStuck(TcpSocket& socket) {
    pollfd entry{socket.native_handle(), POLLOUT, 0};
    return poll(&entry, 1, 500) == 0;
}

TEST_F(WebSocketLoadTest, FloodDoesNotFillMemoryWhileTheMainThreadIsBlocked) {
    constexpr std::size_t total = std::size_t{16} << 20;
    const std::string block(std::size_t{16} << 10, 'x');
    std::promise<std::size_t> stuck;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        bool told = false;
        socket.next_layer().next_layer().set_option(asio::socket_base::send_buffer_size(65536));
        socket.auto_fragment(false);
        for (std::size_t sent = 0; sent < total; sent += block.size()) {
            if (!told && isStuck(socket.next_layer().next_layer())) {
                told = true;
                stuck.set_value(sent);
            }
            socket.write(asio::buffer(block));
        }
        socket.close(websocket::close_code::normal);
    }));
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    auto future = stuck.get_future();
    ASSERT_EQ(future.wait_for(patience), std::future_status::ready);
    EXPECT_LT(future.get(), total);
    EXPECT_LT(m_application.pending(), 300U);
    EXPECT_TRUE(runUntilClosed());
    EXPECT_EQ(m_delegate->data.size(), total);
}

TEST_F(WebSocketLoadTest, ServerThatLeavesItsAnswersUnreadIsNotReadFromEither) {
    constexpr std::size_t total = std::size_t{16} << 20;
    const std::string block(std::size_t{16} << 10, 'x');
    const std::string answer(std::size_t{16} << 20, 'a');
    bool stuck = false;
    std::size_t received = 0;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        socket.next_layer().next_layer().set_option(asio::socket_base::send_buffer_size(65536));
        for (std::size_t sent = 0; sent < total; sent += block.size()) {
            if (!stuck && isStuck(socket.next_layer().next_layer())) {
                stuck = true;
                received = readMessage(socket).size();
                received += readMessage(socket).size();
            }
            socket.write(asio::buffer(block));
        }
        socket.close(websocket::close_code::normal);
    }));
    m_options.unsentLimit = std::size_t{1} << 20;
    LinuxNetwork network(m_application, m_options);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    socket->send({answer});
    socket->send({answer}); // waits until the first has gone out
    EXPECT_TRUE(runUntilClosed());
    EXPECT_TRUE(stuck);
    EXPECT_EQ(received, 2 * answer.size());
    EXPECT_EQ(m_delegate->data.size(), total);
}

/// Keeps all that it gets.
class HoldingDelegate : public platform::WebSocketDelegate {
public:
    void webSocketDidOpen(const std::string&) override { }
    void webSocketDidReceiveData(OwnedText data) override {
        size += data.size();
        held.push_back(std::move(data));
    }
    void webSocketDidClose(const std::string&) override { }

    std::size_t size = 0;
    std::vector<OwnedText> held;
};

TEST_F(WebSocketLoadTest, WithFourLargeMessagesHeldTheNextOnesWaitAtTheServer) {
    const std::string message(std::size_t{8} << 20, 'x');
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        socket.auto_fragment(false);
        for (int i = 0; i < 6; ++i) {
            socket.write(asio::buffer(message));
        }
        readToTheEnd(socket);
    }));
    LinuxNetwork network(m_application);
    const auto delegate = std::make_shared<HoldingDelegate>();
    const auto socket = network.openWebSocket(requestFor(server.port()), delegate);
    const auto has = [&](std::size_t messages) {
        return [&, messages] { return delegate->size == messages * message.size(); };
    };
    ASSERT_TRUE(m_application.runUntil(has(4)));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    m_application.runPending();
    EXPECT_TRUE(has(4)());
    delegate->held.clear();
    EXPECT_TRUE(m_application.runUntil(has(6)));
}

TEST_F(WebSocketLoadTest, DroppingTheLastReferenceSendsTheRestAndDeliversNothing) {
    std::promise<std::vector<std::string>> promise;
    const std::string large(std::size_t{4} << 20, 'L');
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        std::vector<std::string> received;
        socket.write(asio::buffer("data", 4));
        try {
            while (true) {
                received.push_back(readMessage(socket));
            }
        } catch (const boost::system::system_error& error) {
            received.push_back(error.code() == websocket::error::closed ? "closed" : "lost");
        }
        promise.set_value(received);
    }));
    LinuxNetwork network(m_application);
    auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(m_application.waitForPending(2)); // open and data, not yet run
    socket->send({large});
    socket->send({"last"});
    socket.reset();
    auto future = promise.get_future();
    ASSERT_EQ(future.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(future.get() == (std::vector<std::string>{large, "last", "closed"}));
    m_application.runPending();
    EXPECT_FALSE(m_delegate->opened);
    EXPECT_EQ(m_delegate->data, "");
    EXPECT_FALSE(m_delegate->isClosed());
}

TEST_F(WebSocketLoadTest, DelegateThatIsGoneIsNotCalled) {
    const TestServer server(m_context, webSocketScript([](ServerWebSocket& socket) {
        socket.write(asio::buffer("data", 4));
        socket.close(websocket::close_code::normal);
    }));
    LinuxNetwork network(m_application);
    auto delegate = std::make_shared<RecordingDelegate>();
    const std::weak_ptr<RecordingDelegate> weak = delegate;
    const auto socket = network.openWebSocket(requestFor(server.port()), delegate);
    delegate.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_TRUE(m_application.waitForPending(3)); // open, data, close
    m_application.runPending();
}

TEST_F(WebSocketLoadTest, SocketMayOutliveTheNetwork) {
    const TestServer server(m_context, webSocketScript(readToTheEnd));
    std::shared_ptr<platform::WebSocket> socket;
    {
        LinuxNetwork network(m_application);
        socket = network.openWebSocket(requestFor(server.port()), m_delegate);
        EXPECT_TRUE(m_application.waitForPending(1));
    }
    socket->send({"late"});
    socket->close();
    m_application.runPending();
    EXPECT_FALSE(m_delegate->opened);
}

TEST_F(WebSocketLoadTest, PlainWebSocketWorksWhereAskedFor) {
    const TestServer server([](TcpSocket& tcp) {
        websocket::stream<TcpSocket&, false> socket(tcp);
        socket.accept();
        beast::flat_buffer buffer;
        socket.read(buffer);
        socket.write(buffer.data());
        socket.close(websocket::close_code::normal);
    });
    LinuxNetwork network(m_application);
    auto request = requestFor(server.port());
    request.secure = false;
    const auto socket = network.openWebSocket(request, m_delegate);
    socket->send({"echo"});
    EXPECT_TRUE(runUntilClosed());
    EXPECT_EQ(m_delegate->data, "echo");
}

} // namespace
