// SPDX-License-Identifier: MIT
// TLS driven on the socket itself: all that has come in is decrypted at once, and many records go
// out together.
#pragma once

#include "foundation/Handle.h"
#include "platform/linux/net/ByteLayer.h"
#include "platform/linux/net/PeerMemory.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <openssl/ssl.h>
#include <string>

namespace platform::linux_ {

/// A client's side. What is under way keeps the layer.
class TlsLayer : public ByteLayer, public std::enable_shared_from_this<TlsLayer> {
public:
    TlsLayer(boost::asio::ip::tcp::socket socket, SSL_CTX& context);
    ~TlsLayer() override;
    TlsLayer(const TlsLayer&) = delete;
    TlsLayer& operator=(const TlsLayer&) = delete;

    SSL* handle() { return m_ssl.get(); }
    /// Offers the server to go on with a session, which may be null; what it offers after a
    /// handshake with its certificate comes to `keep`, while this lives. TLS 1.3 alone, whose later
    /// keys do not follow from earlier ones (RFC 8446, section 2.2).
    void resume(TlsSession session, std::function<void(TlsSession)> keep);
    /// Before all else.
    boost::asio::awaitable<ErrorCode> shakeHands();

    boost::asio::any_io_executor executor() override { return m_socket.get_executor(); }
    void readSome(boost::asio::mutable_buffer buffer, Done done) override;
    void writeSome(boost::asio::const_buffer buffer, Done done) override;
    void shutDown(std::function<void()> done) override;
    void close() override;
    void expireAfter(std::chrono::milliseconds duration) override;
    void expireNever() override;
    int unacknowledgedBytes() override;

    // What OpenSSL asks of the socket.
    int receive(char* data, std::size_t size);
    int keep(const char* data, std::size_t size);
    static int sessionCame(SSL* ssl, SSL_SESSION* session) noexcept;

private:
    using Drained = std::function<void(const ErrorCode& error)>;

    void drain(Drained drained);
    ErrorCode sendOutput();
    void awaitShutdown(std::function<void()> done);
    bool needsMore(int result) const;
    ErrorCode errorOf(int result) const;
    ErrorCode told(const ErrorCode& error) const;
    void finish(Done done, const ErrorCode& error, std::size_t length);

    boost::asio::ip::tcp::socket m_socket;
    boost::asio::steady_timer m_timer;
    bool m_isExpired = false;
    Handle<SSL, SSL_free> m_ssl;
    std::function<void(TlsSession)> m_keepSession;
    ErrorCode m_receiveError; // of the socket; eof at its end
    ErrorCode m_readError; // after which nothing can be read
    std::string m_output; // encrypted
    std::size_t m_sent = 0; // of it
};

} // namespace platform::linux_
