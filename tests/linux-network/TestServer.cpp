// SPDX-License-Identifier: MIT
#include "tests/linux-network/TestServer.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/field.hpp>
#include <sys/socket.h>
#include <sys/time.h>

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

using asio::ip::tcp;

/// A script that waits in vain ends some day.
void limitWaiting(TcpSocket& socket) {
    timeval longest{60, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &longest, sizeof longest);
}

} // namespace

ServerContext serverContext(
    const TestIdentity& identity, const std::vector<TestIdentity>& furtherCertificates) {
    const auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
    SSL_CTX* native = context->native_handle();
    SSL_CTX_use_certificate(native, identity.certificate.get());
    SSL_CTX_use_PrivateKey(native, identity.key.get());
    for (const TestIdentity& further : furtherCertificates) {
        SSL_CTX_add1_chain_cert(native, further.certificate.get());
    }
    return context;
}

TestServer::TestServer(TcpScript script)
    : m_acceptor(m_io, tcp::endpoint(asio::ip::address_v4::loopback(), 0))
    , m_script(std::move(script))
    , m_port(m_acceptor.local_endpoint().port())
    , m_thread([this] { serve(); }) {
}

TestServer::TestServer(const ServerContext& context, const TlsScript& script)
    : TestServer([context, script](TcpSocket& socket) {
        TlsSocket tls(std::move(socket), *context);
        tls.handshake(asio::ssl::stream_base::server);
        script(tls);
    }) {
}

TestServer::~TestServer() {
    m_stopping = true;
    boost::system::error_code ignored;
    TcpSocket waker(m_io);
    waker.connect(m_acceptor.local_endpoint(), ignored);
    m_thread.join();
}

std::string TestServer::url(const std::string& target) const {
    return "https://localhost:" + std::to_string(m_port) + target;
}

void TestServer::serve() {
    while (true) {
        TcpSocket socket(m_io);
        m_acceptor.accept(socket);
        if (m_stopping) {
            return;
        }
        ++m_connections;
        limitWaiting(socket);
        try {
            m_script(socket);
        } catch (const boost::system::system_error&) {
            // The client went away, as many tests want it.
        }
    }
}

TlsScript webSocketScript(WebSocketScript script, std::string subprotocol) {
    return [script = std::move(script), subprotocol = std::move(subprotocol)](TlsSocket& tls) {
        ServerWebSocket socket(std::move(tls));
        socket.set_option(websocket::stream_base::decorator([&](websocket::response_type& answer) {
            if (!subprotocol.empty()) {
                answer.set(boost::beast::http::field::sec_websocket_protocol, subprotocol);
            }
        }));
        socket.accept();
        socket.read_message_max(0);
        script(socket);
    };
}

template <typename Stream>
std::string readRequest(Stream& stream) {
    std::string request;
    request.resize(asio::read_until(stream, asio::dynamic_buffer(request), "\r\n\r\n"));
    return request;
}

template std::string readRequest(TlsSocket& stream);
template std::string readRequest(TcpSocket& stream);

TlsScript answering(std::string response) {
    return [response = std::move(response)](TlsSocket& tls) {
        readRequest(tls);
        asio::write(tls, asio::buffer(response));
        boost::system::error_code ignored;
        tls.shutdown(ignored);
    };
}

std::string readMessage(ServerWebSocket& socket) {
    boost::beast::flat_buffer buffer;
    socket.read(buffer);
    return boost::beast::buffers_to_string(buffer.data());
}

void readToTheEnd(ServerWebSocket& socket) {
    boost::system::error_code error;
    while (!error) {
        boost::beast::flat_buffer buffer;
        socket.read(buffer, error);
    }
}

std::uint16_t unusedPort() {
    asio::io_context io;
    tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    return acceptor.local_endpoint().port();
}
