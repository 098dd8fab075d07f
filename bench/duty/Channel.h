// SPDX-License-Identifier: MIT
// TLS to a server of this machine and a WebSocket on it, on a socket that blocks: a message is read
// to where it stays, and masked into the record of TLS that takes it.
#pragma once

#include "foundation/Handle.h"

#include <openssl/ssl.h>
#include <string>
#include <string_view>
#include <vector>

/// Throws when the other side does not do what it should.
class Channel {
public:
    using Parts = std::vector<std::string_view>;

    /// Makes the connection, which must show a certificate for localhost.
    Channel(SSL_CTX* context, const std::string& port);
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel();

    /// The answer to a request without body: its head, and its body if it tells the length.
    std::string answerTo(const std::string& request);

    /// The next text message, valid until the one after it; empty after the end.
    std::string_view receive();
    /// Sends the parts as one text message.
    void send(const Parts& parts);
    /// Says that nothing will follow.
    void close();

private:
    std::size_t readSome(char* memory, std::size_t size);
    void readAll(char* memory, std::size_t size);
    void sendFrame(unsigned char kind, const Parts& parts);
    void writeRecord(std::size_t size);

    Handle<SSL, SSL_free> m_ssl;
    int m_socket;
    char* m_message = nullptr; // pages that are the system's until bytes are put there
    std::vector<char> m_record;
};
