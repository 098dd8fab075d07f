// SPDX-License-Identifier: MIT
// A client's TLS connection to the server under test. Each operation is waited for, with a limit.
#pragma once

#include "devserver/server/ByteStream.h"
#include "tests/devserver/TestClient.h"

#include <optional>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>

namespace devserver::test {

/// How an operation ended, which runs only while it is waited for.
class Operation {
public:
    /// Its handler: one type for all, so that few templates are made.
    struct Handler {
        Operation* operation;
        void operator()(boost::system::error_code error, std::size_t length = 0) const {
            *operation = {true, error, length};
        }
    };
    Handler handler() { return {this}; }

    bool isDone = false;
    boost::system::error_code error;
    std::size_t length = 0;
};

class ClientConnection {
public:
    using ErrorCode = boost::system::error_code;

    explicit ClientConnection(const std::string& authorityPem);

    /// TCP and TLS, with a server whose certificate names `host`.
    ErrorCode connect(std::uint16_t port, const std::string& host);
    /// Runs `operation` and all others that are under way; false when it takes longer.
    bool wait(const Operation& operation, std::chrono::milliseconds timeout = patience);
    /// The same, but what takes longer ends with an error. `stream` is closed for that.
    ErrorCode finish(const Operation& operation, ByteStream& stream,
        std::chrono::milliseconds timeout = patience);

    boost::asio::io_context io;
    boost::asio::ssl::context tls{boost::asio::ssl::context::tls_client};
    std::optional<ByteStream> stream; // after connect()
};

} // namespace devserver::test
