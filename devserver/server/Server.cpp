// SPDX-License-Identifier: MIT
#include "devserver/server/Server.h"

#include "devserver/server/Connection.h"
#include "devserver/server/ServerState.h"
#include "foundation/PercentEncoding.h"

#include <fstream>
#include <list>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>

namespace devserver {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// The server's thread and what lives on it. Connections refer to the members above `context`, so
/// that their handlers, which it destroys, go first.
struct Server::Network {
    ConnectionList connections;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    asio::io_context context{1};
    std::list<tcp::acceptor> acceptors;
    std::thread thread;

    error_code useCertificate(const CertificateAuthority& authority);
    error_code listen(const tcp::endpoint& endpoint);
    error_code listenOnLoopback(std::uint16_t port);
    void accept(tcp::acceptor& acceptor, const std::shared_ptr<ServerState>& state);
    void run(const std::shared_ptr<ServerState>& state);
    void stop();
};

error_code Server::Network::useCertificate(const CertificateAuthority& authority) {
    error_code error;
    tls.set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2
            | asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1
            | asio::ssl::context::no_tlsv1_1,
        error);
    if (!error) {
        tls.use_certificate_chain(asio::buffer(authority.serverCertificatePem()), error);
    }
    if (!error) {
        tls.use_private_key(asio::buffer(authority.serverKeyPem()), asio::ssl::context::pem, error);
    }
    return error;
}

error_code Server::Network::listen(const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor(context);
    error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        acceptor.set_option(asio::socket_base::reuse_address(true), error);
    }
    if (!error && endpoint.address().is_v6()) {
        acceptor.set_option(asio::ip::v6_only(true), error);
    }
    if (!error) {
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (!error) {
        acceptors.push_back(std::move(acceptor));
    }
    return error;
}

/// A port that is free for one family may be taken for the other; a free one is searched for both.
error_code Server::Network::listenOnLoopback(std::uint16_t port) {
    error_code error;
    for (int attempt = 0; attempt < 10; ++attempt) {
        acceptors.clear();
        error = listen({asio::ip::address_v4::loopback(), port});
        if (error) {
            return error;
        }
        const std::uint16_t chosen = acceptors.front().local_endpoint().port();
        error = listen({asio::ip::address_v6::loopback(), chosen});
        if (error != asio::error::address_in_use) {
            return {}; // on both, or there is no ::1
        }
        if (port != 0) {
            return error;
        }
    }
    return error;
}

void Server::Network::accept(tcp::acceptor& acceptor, const std::shared_ptr<ServerState>& state) {
    acceptor.async_accept([this, &acceptor, state](error_code error, tcp::socket socket) {
        if (!acceptor.is_open()) {
            return;
        }
        if (!error) {
            socket.set_option(tcp::no_delay(true), error);
            serveHttp(std::move(socket), tls, state, connections);
        }
        accept(acceptor, state);
    });
}

void Server::Network::run(const std::shared_ptr<ServerState>& state) {
    for (tcp::acceptor& acceptor : acceptors) {
        accept(acceptor, state);
    }
    thread = std::thread([this] { context.run(); });
}

void Server::Network::stop() {
    if (!thread.joinable()) {
        return;
    }
    asio::post(context, [this] {
        for (tcp::acceptor& acceptor : acceptors) {
            error_code ignored;
            acceptor.close(ignored);
        }
        connections.abortAll();
        context.stop();
    });
    thread.join();
}

Server::Server(ServerOptions options)
    : m_state(std::make_shared<ServerState>(std::move(options)))
    , m_network(std::make_unique<Network>()) {
}

Server::~Server() {
    stop();
}

std::optional<std::string> Server::start() {
    std::string reason;
    const ServerOptions& options = m_state->options();
    m_authority = options.authorityFolder.empty()
        ? CertificateAuthority::make(options.certificates, reason)
        : CertificateAuthority::kept(options.authorityFolder, options.certificates, reason);
    if (!m_authority) {
        return reason;
    }
    if (const error_code error = m_network->useCertificate(*m_authority)) {
        return "the server's certificate cannot be used: " + error.message();
    }
    const std::uint16_t port = options.port;
    if (const error_code error = m_network->listenOnLoopback(port)) {
        return "port " + std::to_string(port) + " cannot be listened on: " + error.message();
    }
    m_port = m_network->acceptors.front().local_endpoint().port();
    m_network->run(m_state);
    return std::nullopt;
}

void Server::stop() {
    m_state->endWaiting();
    m_network->stop();
}

std::uint16_t Server::port() const {
    return m_port;
}

std::string Server::link(
    const std::string& room, const std::string& path, const std::string& host) const {
    return "quillet://" + host + ":" + std::to_string(m_port) + percentEncoded(path, "/")
        + "?roomId=" + percentEncoded(room);
}

const std::string& Server::authorityPem() const {
    static const std::string none;
    return m_authority ? m_authority->certificatePem() : none;
}

bool Server::writeAuthority(const std::string& path) const {
    std::ofstream file(path, std::ios::binary);
    file << authorityPem();
    file.close();
    return file.good();
}

std::vector<RecordedRequest> Server::requests() const {
    return m_state->requests();
}

void Server::setAnswer(Endpoint endpoint, std::optional<HttpAnswer> answer) {
    m_state->setAnswer(endpoint, std::move(answer));
}

void Server::refuseWebSockets(std::optional<HttpAnswer> answer) {
    m_state->setWebSocketRefusal(std::move(answer));
}

void Server::setWebHandler(std::shared_ptr<WebHandler> handler) {
    m_state->setWebHandler(std::move(handler));
}

std::shared_ptr<AgentSession> Server::waitForAgent(
    const std::string& room, std::chrono::milliseconds timeout) {
    return m_state->waitForAgent(room, timeout);
}

std::shared_ptr<AgentSession> Server::waitForAnyAgent(std::chrono::milliseconds timeout) {
    return m_state->waitForAgent(std::nullopt, timeout);
}

} // namespace devserver
