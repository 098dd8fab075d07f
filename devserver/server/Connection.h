// SPDX-License-Identifier: MIT
// What the connections of a server share. All of it is used on the server's one thread, by .cpp
// files alone.
#pragma once

#include "devserver/server/ByteStream.h"
#include "devserver/server/ServerState.h"
#include "devserver/server/WebHandler.h"

#include <memory>
#include <vector>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

namespace devserver {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;

class Connection {
public:
    virtual ~Connection() = default;
    /// Closes the socket at once; no handler of the connection has an effect afterwards.
    virtual void abort() = 0;
};

/// The open connections. They keep themselves alive.
class ConnectionList {
public:
    void add(const std::shared_ptr<Connection>& connection) {
        std::erase_if(m_connections, [](const auto& entry) { return entry.expired(); });
        m_connections.push_back(connection);
    }
    void abortAll() {
        for (const std::weak_ptr<Connection>& entry : m_connections) {
            if (const std::shared_ptr<Connection> connection = entry.lock()) {
                connection->abort();
            }
        }
        m_connections.clear();
    }

private:
    std::vector<std::weak_ptr<Connection>> m_connections;
};

/// Takes over a freshly accepted TCP connection.
void serveHttp(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls,
    std::shared_ptr<ServerState> server, ConnectionList& connections);

/// Takes over a connection whose upgrade request for `room` has been read.
void serveWebSocket(ByteStream stream, HttpRequest request, RecordedRequest record,
    std::string room, std::shared_ptr<ServerState> server, ConnectionList& connections);

/// Streams a feed to a connection whose request has been read.
void serveEvents(ByteStream stream, EventAnswer answer, ConnectionList& connections);

} // namespace devserver
