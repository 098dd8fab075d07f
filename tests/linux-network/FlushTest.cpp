// SPDX-License-Identifier: MIT
// The end of the process: what was handed to a WebSocket goes out first.
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestApplication.h"

#include <atomic>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <cstdlib>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

using platform::linux_::LinuxNetwork;
using platform::linux_::LinuxNetworkOptions;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Received {
    std::size_t bytes = 0;
    bool closed = false; // by a close frame
};

/// Reads all messages until the connection ends.
Received receiveAll(ServerWebSocket& socket) {
    Received received;
    boost::system::error_code error;
    while (!error) {
        beast::flat_buffer buffer;
        socket.read(buffer, error);
        received.bytes += error ? 0 : buffer.size();
    }
    received.closed = error == websocket::error::closed;
    return received;
}

class FlushTest : public testing::Test {
protected:
    std::shared_ptr<platform::WebSocket> open(LinuxNetwork& network, const TestServer& server) {
        return network.openWebSocket({"localhost", server.port(), "/", true, {}}, m_delegate);
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    TestApplication m_application;
    const std::shared_ptr<RecordingDelegate> m_delegate = std::make_shared<RecordingDelegate>();
    const std::string m_large = std::string(std::size_t{16} << 20, 'L');
};

TEST_F(FlushTest, SendsEverythingThoughNoEventWasEverRun) {
    std::promise<Received> promise;
    const TestServer server(m_context,
        webSocketScript([&](ServerWebSocket& socket) { promise.set_value(receiveAll(socket)); }));
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    socket->send({"head", m_large});
    socket->send({"last"});
    network.flush(patience);
    const Received received = promise.get_future().get();
    EXPECT_EQ(received.bytes, m_large.size() + 8);
    EXPECT_TRUE(received.closed);
}

TEST_F(FlushTest, UnreadFloodNeitherBlocksTheCloseNorDestroysWhatWasSent) {
    std::promise<Received> promise;
    const std::string block(std::size_t{1} << 20, 'x');
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        socket.auto_fragment(false);
        // More than the client lets wait; the rest is stuck until the client discards it.
        for (int i = 0; i < 16; ++i) {
            socket.write(asio::buffer(block));
        }
        promise.set_value(receiveAll(socket));
    }));
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    EXPECT_TRUE(m_application.waitForPending(2)); // open, and the first of it
    socket->send({m_large});
    network.flush(patience);
    const Received received = promise.get_future().get();
    EXPECT_EQ(received.bytes, m_large.size());
    EXPECT_TRUE(received.closed);
}

TEST_F(FlushTest, NoEventIsDeliveredAfterwards) {
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        socket.write(asio::buffer("data", 4));
        receiveAll(socket);
    }));
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    EXPECT_TRUE(m_application.waitForPending(2));
    const std::size_t before = m_application.pending();
    network.flush(patience);
    EXPECT_EQ(m_application.pending(), before);
    m_application.runPending();
    EXPECT_FALSE(m_delegate->opened);
    EXPECT_FALSE(m_delegate->isClosed());
}

TEST_F(FlushTest, WaitsForSocketsThatWereDropped) {
    std::promise<Received> promise;
    const TestServer server(m_context,
        webSocketScript([&](ServerWebSocket& socket) { promise.set_value(receiveAll(socket)); }));
    LinuxNetwork network(m_application);
    open(network, server)->send({m_large});
    network.flush(patience);
    EXPECT_EQ(promise.get_future().get().bytes, m_large.size());
}

TEST_F(FlushTest, KeepsToItsLimitWhenTheServerDoesNotRead) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(
        m_context, webSocketScript([&](ServerWebSocket&) { waiting.wait_for(patience); }));
    {
        LinuxNetwork network(m_application);
        const auto socket = open(network, server);
        EXPECT_TRUE(m_application.waitForPending(1));
        socket->send({m_large, m_large});
        const auto start = steady_clock::now();
        network.flush(milliseconds(300));
        EXPECT_LT(steady_clock::now() - start, patience / 2);
        const auto again = steady_clock::now();
        network.flush(patience);
        EXPECT_LT(steady_clock::now() - again, patience / 2);
    }
    over.set_value();
}

TEST_F(FlushTest, SilentServerHoldsTheCloseNoLongerThanItsLimit) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(
        m_context, webSocketScript([&](ServerWebSocket&) { waiting.wait_for(patience); }));
    LinuxNetworkOptions options;
    options.closeLimit = milliseconds(200);
    LinuxNetwork network(m_application, options);
    const auto socket = open(network, server);
    EXPECT_TRUE(m_application.waitForPending(1));
    const auto start = steady_clock::now();
    network.flush(patience);
    EXPECT_LT(steady_clock::now() - start, patience / 2);
    over.set_value();
}

TEST_F(FlushTest, NothingIsBeingPreparedAfterwards) {
    const TemporaryFolder folder;
    const std::string authorities = (folder / "authorities").string();
    ASSERT_EQ(mkfifo(authorities.c_str(), S_IRWXU), 0); // whose reading waits for a writer
    const std::string usual = std::getenv("SSL_CERT_FILE");
    setenv("SSL_CERT_FILE", authorities.c_str(), 1);
    LinuxNetwork network(m_application);
    network.prepare();
    std::atomic<bool> isRead = false;
    std::thread writing([&] {
        std::this_thread::sleep_for(milliseconds(200));
        isRead = true;
        ::close(::open(authorities.c_str(), O_WRONLY | O_CLOEXEC));
    });
    network.flush(patience);
    EXPECT_TRUE(isRead);
    writing.join();
    setenv("SSL_CERT_FILE", usual.c_str(), 1);
}

TEST_F(FlushTest, ConnectionInTheMakingWithNothingToSendIsGivenUp) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server([&](TcpSocket&) { waiting.wait_for(patience); });
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    const auto start = steady_clock::now();
    network.flush(patience);
    EXPECT_LT(steady_clock::now() - start, patience / 2);
    over.set_value();
}

TEST_F(FlushTest, WithoutConnectionsReturnsAtOnceAndNothingStartsAfterwards) {
    const TestServer server(m_context, webSocketScript([](ServerWebSocket&) {}));
    LinuxNetwork network(m_application);
    network.flush(patience);
    const auto socket = open(network, server);
    socket->send({"late"});
    std::atomic<bool> told = false;
    network.dataTaskWithURL(server.url("/"), [&](auto, auto, auto) { told = true; })->resume();
    network.flush(patience);
    EXPECT_EQ(server.connections(), 0);
    EXPECT_FALSE(told);
}

TEST_F(FlushTest, FromSeveralThreadsNoneReturnsBeforeTheLastByteIsOut) {
    std::atomic<std::size_t> bytes = 0;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        boost::system::error_code error;
        while (!error) {
            beast::flat_buffer buffer;
            bytes += socket.read_some(buffer, 65536, error);
        }
    }));
    LinuxNetwork network(m_application);
    const auto socket = open(network, server);
    socket->send({m_large});
    const auto flush = [&] {
        network.flush(patience);
        EXPECT_EQ(bytes, m_large.size());
    };
    std::thread other(flush);
    flush();
    other.join();
}

} // namespace
