// SPDX-License-Identifier: MIT
// WebSockets against a server on the loopback interface.
#include "tests/linux-network/WebSocketFixture.h"

#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <future>
#include <gtest/gtest.h>
#include <poll.h>

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

using platform::linux_::LinuxNetwork;

TEST_F(WebSocketTest, RequestNamesHostTargetAndSubprotocols) {
    std::string request;
    const TestServer server(m_context, [&](TlsSocket& tls) { request = readRequest(tls); });
    m_options.userAgent = "Quillet/1.2";
    LinuxNetwork network(m_application, m_options);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(runUntilClosed());
    EXPECT_EQ(request.find("GET /base/room/r%201 HTTP/1.1\r\n"), 0U) << request;
    for (const std::string& line : {"Host: localhost:" + std::to_string(server.port()),
             std::string("Sec-WebSocket-Protocol: v12.stomp, v11.stomp"),
             std::string("User-Agent: Quillet/1.2")}) {
        EXPECT_NE(request.find("\r\n" + line + "\r\n"), request.npos) << request;
    }
    EXPECT_EQ(request.find("Sec-WebSocket-Extensions"), request.npos);
    EXPECT_EQ(
        m_delegate->reasons, std::vector<std::string>{"the connection to localhost was lost"});
}

TEST_F(WebSocketTest, PickedSubprotocolIsTold) {
    const TestServer server(m_context, webSocketScript(readToTheEnd, "v11.stomp"));
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(m_application.runUntil([&] { return m_delegate->opened; }));
    EXPECT_EQ(m_delegate->subprotocol, "v11.stomp");
}

TEST_F(WebSocketTest, TextAndBinaryMessagesArriveInOrder) {
    runSession([](ServerWebSocket& socket) {
        socket.text(true);
        socket.write(asio::buffer("one,", 4));
        socket.binary(true);
        socket.write(asio::buffer("two,", 4));
        socket.write_some(false, asio::buffer("three", 5));
        socket.write_some(true, asio::buffer(" and more", 9));
        socket.close(websocket::close_code::normal);
    });
    EXPECT_TRUE(m_delegate->opened);
    EXPECT_EQ(m_delegate->subprotocol, "");
    EXPECT_EQ(m_delegate->data, "one,two,three and more");
    EXPECT_EQ(m_delegate->reasons, std::vector<std::string>{"the server closed the connection"});
}

TEST_F(WebSocketTest, LargeMessageArrivesInPieces) {
    std::string large(std::size_t{16} << 20, ' ');
    for (std::size_t i = 0; i < large.size(); ++i) {
        large[i] = static_cast<char>('a' + i % 23);
    }
    runSession([&](ServerWebSocket& socket) {
        socket.auto_fragment(false);
        socket.write(asio::buffer(large));
        socket.close(websocket::close_code::normal);
    });
    EXPECT_TRUE(m_delegate->data == large);
    EXPECT_GE(m_delegate->pieces, 13); // a little more than a megabyte waits at most
}

TEST_F(WebSocketTest, EachSendIsOneTextMessageInOrder) {
    std::vector<std::string> received;
    bool text = true;
    const std::string large(std::size_t{1} << 20, 'L');
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        for (int i = 0; i < 4; ++i) {
            received.push_back(readMessage(socket));
            text = text && socket.got_text();
        }
        socket.close(websocket::close_code::normal);
    }));
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    socket->send({"SEND\n\n", "body", std::string(1, '\0')}); // queued before it is open
    EXPECT_TRUE(m_application.runUntil([&] { return m_delegate->opened; }));
    socket->send({"\n"});
    socket->send({"head", large, large, "tail"});
    socket->send({"", "last", ""});
    EXPECT_TRUE(runUntilClosed());
    const std::vector<std::string> expected
        = {std::string("SEND\n\nbody\0", 11), "\n", "head" + large + large + "tail", "last"};
    EXPECT_TRUE(received == expected);
    EXPECT_TRUE(text);
}

TEST_F(WebSocketTest, CloseSendsWhatWasQueuedBeforeAndIgnoresWhatComesAfter) {
    std::vector<std::string> received;
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        while (true) {
            received.push_back(readMessage(socket));
        }
    }));
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    socket->send({"first"});
    socket->send({"second"});
    socket->close();
    socket->send({"third"});
    EXPECT_TRUE(runUntilClosed());
    network.flush(patience);
    EXPECT_EQ(m_delegate->reasons, std::vector<std::string>{"the connection was closed"});
    EXPECT_EQ(received, (std::vector<std::string>{"first", "second"}));
}

TEST_F(WebSocketTest, CloseWhileConnectingEndsAtOnce) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server([&](TcpSocket&) { waiting.wait_for(patience); });
    LinuxNetwork network(m_application);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    socket->close();
    EXPECT_TRUE(runUntilClosed());
    over.set_value();
    EXPECT_EQ(m_delegate->reasons, std::vector<std::string>{"the connection was closed"});
}

TEST_F(WebSocketTest, CloseCodesAreToldInWords) {
    struct Case {
        std::uint16_t code;
        std::string reason;
        std::string text;
    };
    const Case cases[] = {
        {1000, "", "the server closed the connection"},
        {1000, "bye", "the server closed the connection: bye"},
        {1001, "", "the server closed the connection (it is going away)"},
        {1002, "", "the server closed the connection (protocol error)"},
        {1009, "too\nlong", "the server closed the connection (message too big): too long"},
        {1011, "", "the server closed the connection (internal error of the server)"},
        {4000, "", "the server closed the connection (code 4000)"},
    };
    for (const Case& expected : cases) {
        m_delegate->opened = false;
        m_delegate->reasons.clear();
        runSession([&](ServerWebSocket& socket) {
            websocket::close_reason close(expected.reason);
            close.code = expected.code;
            socket.close(close);
        });
        EXPECT_EQ(m_delegate->reasons, std::vector<std::string>{expected.text});
    }
}

TEST_F(WebSocketTest, ServerThatClosesAndThenStaysSilentIsNotWaitedFor) {
    m_options.closeLimit = std::chrono::milliseconds(200);
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(m_context, webSocketScript([&](ServerWebSocket& socket) {
        const unsigned char closeFrame[] = {0x88, 0x02, 0x03, 0xe9};
        asio::write(socket.next_layer(), asio::buffer(closeFrame));
        waiting.wait_for(patience);
    }));
    LinuxNetwork network(m_application, m_options);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(runUntilClosed());
    over.set_value();
    EXPECT_EQ(m_delegate->reasons.at(0), "the server closed the connection (it is going away)");
}

TEST_F(WebSocketTest, ConnectionCutWithoutCloseIsLost) {
    runSession([](ServerWebSocket& socket) { socket.write(asio::buffer("x", 1)); });
    EXPECT_EQ(m_delegate->data, "x");
    EXPECT_EQ(
        m_delegate->reasons, std::vector<std::string>{"the connection to localhost was lost"});
}

TEST_F(WebSocketTest, ConnectionResetIsLost) {
    runSession([](ServerWebSocket& socket) {
        auto& tcp = socket.next_layer().next_layer();
        tcp.set_option(asio::socket_base::linger(true, 0));
        tcp.close();
    });
    EXPECT_EQ(
        m_delegate->reasons, std::vector<std::string>{"the connection to localhost was lost"});
}

TEST_F(WebSocketTest, BrokenFrameIsTold) {
    runSession([](ServerWebSocket& socket) {
        const unsigned char reservedOpcode[] = {0x83, 0x00};
        asio::write(socket.next_layer(), asio::buffer(reservedOpcode));
        readToTheEnd(socket);
    });
    EXPECT_EQ(m_delegate->reasons.at(0).find("localhost broke the WebSocket protocol ("), 0U);
}

TEST_F(WebSocketTest, OfARefusalTheHeadAloneIsRead) {
    // Neither a body without end nor one that breaks the rules matters.
    EXPECT_EQ(refusalFor("HTTP/1.1 500 x\r\nTransfer-Encoding: chunked\r\n\r\nno chunk\r\n"),
        "localhost refused the WebSocket: status 500 (Internal Server Error)");
    m_delegate->reasons.clear();
    EXPECT_EQ(refusalFor("HTTP/1.1 403 x\r\nContent-Length: 99999999999\r\n\r\n"
                  + std::string(1 << 20, 'x')),
        "localhost refused the WebSocket: status 403 (Forbidden)");
}

TEST_F(WebSocketTest, RefusalIsToldAtOnceByAServerThatGoesOn) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(m_context, [&](TlsSocket& socket) {
        readRequest(socket);
        asio::write(socket,
            asio::buffer(std::string("HTTP/1.1 403 Forbidden\r\nContent-Length: 5\r\n\r\nwhy")));
        waiting.wait_for(patience);
    });
    LinuxNetwork network(m_application, m_options);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(runUntilClosed());
    over.set_value();
    EXPECT_EQ(m_delegate->reasons.at(0), "localhost refused the WebSocket: status 403 (Forbidden)");
}

TEST_F(WebSocketTest, RefusalsAreToldByStatus) {
    EXPECT_EQ(refusalFor("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n"),
        "localhost refused the WebSocket: status 401 (Unauthorized)");
    m_delegate->reasons.clear();
    EXPECT_EQ(refusalFor("HTTP/1.1 403 Forbidden\r\n\r\nno length, until the end"),
        "localhost refused the WebSocket: status 403 (Forbidden)");
    m_delegate->reasons.clear();
    EXPECT_EQ(refusalFor("HTTP/1.1 404 Not Found\r\nContent-Length: 100\r\n\r\ncut short"),
        "localhost refused the WebSocket: status 404 (Not Found)");
    m_delegate->reasons.clear();
    EXPECT_EQ(refusalFor("HTTP/1.1 302 Found\r\nLocation: /login\r\nContent-Length: 0\r\n\r\n"),
        "localhost refused the WebSocket: status 302 (Found)");
    m_delegate->reasons.clear();
    EXPECT_EQ(refusalFor("HTTP/1.1 799 Own\r\nContent-Length: 0\r\n\r\n"),
        "localhost refused the WebSocket: status 799");
}

TEST_F(WebSocketTest, AnswerWithAWrongKeyIsTold) {
    const std::string text = refusalFor(
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
        "Connection: Upgrade\r\nSec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n");
    EXPECT_EQ(text.find("localhost broke the WebSocket protocol ("), 0U) << text;
}

TEST_F(WebSocketTest, SilentHandshakeIsGivenUpAfterTheLimit) {
    m_options.stallLimit = std::chrono::milliseconds(300);
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(m_context, [&](TlsSocket&) { waiting.wait_for(patience); });
    LinuxNetwork network(m_application, m_options);
    const auto socket = network.openWebSocket(requestFor(server.port()), m_delegate);
    EXPECT_TRUE(runUntilClosed());
    over.set_value();
    EXPECT_EQ(m_delegate->reasons.at(0), "localhost did not answer within 0.3 seconds");
}

TEST_F(WebSocketTest, WrongAddressesAreErrorTexts) {
    LinuxNetwork network(m_application);
    const auto reasonFor = [&](const platform::WebSocketRequest& request) {
        m_delegate->reasons.clear();
        const auto socket = network.openWebSocket(request, m_delegate);
        EXPECT_TRUE(runUntilClosed());
        return m_delegate->reasons.at(0);
    };
    const std::uint16_t port = unusedPort();
    EXPECT_EQ(reasonFor({"localhost", 65536, "/", true, {}}),
        "port 65536 does not exist, ports are 1 to 65535");
    EXPECT_EQ(reasonFor({"localhost", UINT64_MAX, "/", true, {}}),
        "port 18446744073709551615 does not exist, ports are 1 to 65535");
    EXPECT_EQ(reasonFor({"", 443, "/", true, {}}), "no host is given");
    EXPECT_EQ(reasonFor({"local\r\nhost", 443, "/", true, {}}), "local  host is not a host name");
    EXPECT_EQ(
        reasonFor({"localhost", 443, "/a b", true, {}}), "the path /a b is not percent-encoded");
    EXPECT_EQ(reasonFor({"127.0.0.1", port, "/", true, {}}),
        "127.0.0.1 refused the connection on port " + std::to_string(port));
}

} // namespace
