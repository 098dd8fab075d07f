// SPDX-License-Identifier: MIT
// A rule about connections is asked before anything is done for one: the server that is not allowed
// sees no connection.
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <future>
#include <gtest/gtest.h>

namespace {

using platform::NetworkHost;
using platform::TransportError;
using platform::linux_::LinuxNetwork;

class ConnectionRuleTest : public testing::Test {
protected:
    /// Allows a host and port alone.
    void allowOnly(const std::string& host, std::uint16_t port) {
        m_network.setConnectionRule(
            [host, port](const NetworkHost& asked, std::uint64_t askedPort) {
                const bool isAllowed = asked.name == host && askedPort == port;
                return isAllowed ? std::nullopt
                                 : std::optional(asked.authority(askedPort) + " is not allowed");
            });
    }

    /// How a request for a URL fails, if it does.
    std::optional<TransportError> errorOf(const std::string& url) {
        std::promise<std::optional<TransportError>> promise;
        const auto task = m_network.dataTaskWithURL(
            url, [&](auto, auto, auto error) { promise.set_value(std::move(error)); });
        task->resume();
        return promise.get_future().get();
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    TestApplication m_application;
    LinuxNetwork m_network{m_application};
};

TEST_F(ConnectionRuleTest, AnAllowedServerAnswers) {
    const TestServer server(m_context, answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    allowOnly("localhost", server.port());
    EXPECT_FALSE(errorOf(server.url("/")));
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(ConnectionRuleTest, AnotherServerSeesNoConnectionAndTheRulesWordsAreTold) {
    const TestServer server(m_context, answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    allowOnly("sign.example.org", 443);
    const std::string port = std::to_string(server.port());
    for (const std::string host : {"localhost", "LOCALHOST", "localhost.", "local%68ost"}) {
        const auto error = errorOf("https://" + host + ":" + port + "/");
        ASSERT_TRUE(error) << host;
        EXPECT_EQ(error->localizedDescription, "localhost:" + port + " is not allowed");
    }
    for (const std::string host : {"127.0.0.1", "2130706433"}) {
        EXPECT_EQ(errorOf("https://" + host + ":" + port + "/")->localizedDescription,
            host + ":" + port + " is not allowed");
    }
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(ConnectionRuleTest, ARedirectToAnotherServerIsNotFollowed) {
    const TestServer second(m_context, answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    const TestServer first(
        m_context, answering("HTTP/1.1 302 Found\r\nLocation: " + second.url("/") + "\r\n\r\n"));
    allowOnly("localhost", first.port());
    const auto error = errorOf(first.url("/"));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription,
        "localhost:" + std::to_string(second.port()) + " is not allowed");
    EXPECT_EQ(first.connections(), 1);
    EXPECT_EQ(second.connections(), 0);
}

TEST_F(ConnectionRuleTest, ANullRuleAllowsAll) {
    const TestServer server(m_context, answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    allowOnly("localhost", 1);
    m_network.setConnectionRule({});
    EXPECT_FALSE(errorOf(server.url("/")));
}

TEST_F(ConnectionRuleTest, AWebSocketToAnotherServerIsClosedUnopened) {
    const TestServer server([](TcpSocket&) {});
    allowOnly("localhost", 1);
    const auto delegate = std::make_shared<RecordingDelegate>();
    for (const bool isSecure : {true, false}) {
        delegate->reasons.clear();
        const auto socket
            = m_network.openWebSocket({"localhost", server.port(), "/", isSecure, {}}, delegate);
        EXPECT_TRUE(m_application.runUntil([&] { return delegate->isClosed(); }));
        EXPECT_EQ(delegate->reasons.at(0),
            "localhost:" + std::to_string(server.port()) + " is not allowed");
    }
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(ConnectionRuleTest, HostsAreToldAsTheConnectorReadsThem) {
    const auto name = [this](const std::string& host) {
        return m_network.hostToConnect(host).value_or(NetworkHost{}).name;
    };
    EXPECT_EQ(name("B%C3%9Ccher.Example."), "xn--bcher-kva.example");
    EXPECT_EQ(name("sign%2Eexample.org"), "sign.example.org");
    EXPECT_EQ(name("sign\xE3\x80\x82"
                   "example.org"),
        "sign.example.org");
    EXPECT_EQ(name("[2001:DB8:0::1]"), "2001:db8::1");
    EXPECT_EQ(name("[fe80::1%25eth0]"), "fe80::1%eth0");
    EXPECT_EQ(name("192.0.2.7"), "192.0.2.7");
    EXPECT_FALSE(m_network.hostToConnect("a b"));
    EXPECT_FALSE(m_network.hostToConnect(""));
    EXPECT_EQ(m_network
                  .hostToConnect("b\xC3\xBC"
                                 "cher.example")
                  ->display,
        "b\xC3\xBC"
        "cher.example");
    EXPECT_EQ(m_network.hostToConnect("XN--bcher-kva.example")->display, "xn--bcher-kva.example");
}

} // namespace
