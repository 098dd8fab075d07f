// SPDX-License-Identifier: MIT
#include "tests/devserver/ClientConnection.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>

namespace devserver::test {

namespace asio = boost::asio;
using asio::ip::tcp;

ClientConnection::ClientConnection(const std::string& authorityPem) {
    tls.set_verify_mode(asio::ssl::verify_peer);
    tls.add_certificate_authority(asio::buffer(authorityPem));
}

ClientConnection::ErrorCode ClientConnection::connect(std::uint16_t port, const std::string& host) {
    const tcp::endpoint server = host == "::1"
        ? tcp::endpoint(asio::ip::address_v6::loopback(), port)
        : tcp::endpoint(asio::ip::address_v4::loopback(), port);
    tcp::socket socket(io);
    ErrorCode error;
    tls.set_verify_callback(asio::ssl::host_name_verification(host), error);
    if (!error) {
        socket.connect(server, error);
    }
    if (!error) {
        socket.set_option(tcp::no_delay(true), error);
    }
    stream.emplace(std::move(socket), tls);
    if (error) {
        return error;
    }
    Operation handshake;
    stream->handshake(ByteStream::Role::client, ByteStream::Done(handshake.handler()));
    return finish(handshake, *stream);
}

bool ClientConnection::wait(const Operation& operation, std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!operation.isDone && std::chrono::steady_clock::now() < end) {
        io.restart();
        io.run_one_until(end);
    }
    return operation.isDone;
}

ClientConnection::ErrorCode ClientConnection::finish(
    const Operation& operation, ByteStream& used, std::chrono::milliseconds timeout) {
    if (!wait(operation, timeout)) {
        used.close();
        wait(operation, patience);
        return asio::error::timed_out;
    }
    return operation.error;
}

} // namespace devserver::test
