// SPDX-License-Identifier: MIT
// A scripted server on the loopback interface, on a port that the system chooses.
#pragma once

#include "tests/linux-network/TestCertificates.h"

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstdint>
#include <functional>
#include <future>
#include <string>
#include <thread>

using TcpSocket = boost::asio::ip::tcp::socket;
using TlsSocket = boost::beast::ssl_stream<TcpSocket>;
using ServerWebSocket = boost::beast::websocket::stream<TlsSocket, false>;
using ServerContext = std::shared_ptr<boost::asio::ssl::context>;

/// What a server does with a connection, synchronously. Errors of the transport, which are thrown,
/// end it.
using TcpScript = std::function<void(TcpSocket&)>;
using TlsScript = std::function<void(TlsSocket&)>;
using WebSocketScript = std::function<void(ServerWebSocket&)>;

ServerContext serverContext(
    const TestIdentity& identity, const std::vector<TestIdentity>& furtherCertificates = {});

/// Serves one connection after another until it is destroyed.
class TestServer {
public:
    explicit TestServer(TcpScript script);
    TestServer(const ServerContext& context, const TlsScript& script);
    ~TestServer();
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    std::uint16_t port() const { return m_port; }
    std::string url(const std::string& target) const;
    int connections() const { return m_connections; }

private:
    void serve();

    boost::asio::io_context m_io;
    boost::asio::ip::tcp::acceptor m_acceptor;
    TcpScript m_script;
    std::uint16_t m_port = 0;
    std::atomic<int> m_connections = 0;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

/// Accepts the upgrade, picking `subprotocol` unless it is empty.
TlsScript webSocketScript(WebSocketScript script, std::string subprotocol = {});

/// Reads one request up to its blank line.
template <typename Stream>
std::string readRequest(Stream& stream);

/// Reads a request, writes `response` as it stands, ends the TLS connection.
TlsScript answering(std::string response);
inline const TlsScript sayOk = answering("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");

/// The next message, whole.
std::string readMessage(ServerWebSocket& socket);
/// Reads until the client closes, and answers its close.
void readToTheEnd(ServerWebSocket& socket);

/// A port on which nothing listens.
std::uint16_t unusedPort();
