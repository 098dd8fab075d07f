// SPDX-License-Identifier: MIT
#include "platform/linux/net/TlsLayer.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/error.hpp>
#include <cerrno>
#include <linux/sockios.h>
#include <new>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;

using asio::ip::tcp;

constexpr std::chrono::milliseconds shutdownLimit{500};
constexpr std::chrono::milliseconds retryInterval{5};
constexpr std::size_t receiveSize = std::size_t{256} << 10; // asked of the socket at once
constexpr std::size_t sendSize = std::size_t{64} << 10; // encrypted before it is sent

TlsLayer& layerOf(BIO* bio) {
    return *static_cast<TlsLayer*>(BIO_get_data(bio));
}

int readFrom(BIO* bio, char* data, int size) {
    BIO_clear_retry_flags(bio);
    const int length = layerOf(bio).receive(data, static_cast<std::size_t>(size));
    if (length < 0) {
        BIO_set_retry_read(bio);
    }
    return length > 0 ? length : -1;
}

int writeTo(BIO* bio, const char* data, int size) {
    BIO_clear_retry_flags(bio);
    return layerOf(bio).keep(data, static_cast<std::size_t>(size));
}

long control(BIO*, int command, long, void*) {
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

/// Ends with the process.
BIO_METHOD* socketMethod() {
    static BIO_METHOD* const method = [] {
        BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
        if (made == nullptr || BIO_meth_set_read(made, readFrom) != 1
            || BIO_meth_set_write(made, writeTo) != 1 || BIO_meth_set_ctrl(made, control) != 1) {
            throw std::bad_alloc();
        }
        return made;
    }();
    return method;
}

} // namespace

TlsLayer::TlsLayer(tcp::socket socket, SSL_CTX& context)
    : m_socket(std::move(socket))
    , m_timer(m_socket.get_executor())
    , m_ssl(SSL_new(&context)) {
    BIO* const bio = m_ssl ? BIO_new(socketMethod()) : nullptr;
    if (bio == nullptr) {
        throw std::bad_alloc();
    }
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(m_ssl.get(), bio, bio);
    SSL_set_mode(m_ssl.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_set_read_ahead(m_ssl.get(), 1);
    SSL_set_default_read_buffer_len(m_ssl.get(), receiveSize);
    SSL_set_connect_state(m_ssl.get());
}

/// OpenSSL would make the session useless of a connection that was not shut down, as SSL 3 wanted
/// it.
TlsLayer::~TlsLayer() {
    SSL_set_shutdown(m_ssl.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

void TlsLayer::resume(TlsSession session, std::function<void(TlsSession)> keep) {
    if (session) {
        SSL_set_session(m_ssl.get(), session.get());
    }
    m_keepSession = std::move(keep);
}

/// As SSL_CTX_sess_set_new_cb has it: 1 if the session has been taken.
int TlsLayer::sessionCame(SSL* ssl, SSL_SESSION* session) noexcept {
    const TlsLayer& layer = layerOf(SSL_get_rbio(ssl));
    const bool isWanted = layer.m_keepSession && SSL_version(ssl) == TLS1_3_VERSION
        && SSL_SESSION_get_ticket_lifetime_hint(session) > 0 && SSL_session_reused(ssl) == 0
        && SSL_get_verify_result(ssl) == X509_V_OK;
    if (isWanted) {
        layer.m_keepSession(TlsSession(session));
    }
    return isWanted ? 1 : 0;
}

/// Bytes that have come in; 0 when none will, and less when none have yet.
int TlsLayer::receive(char* data, std::size_t size) {
    ssize_t length = -1;
    do {
        length = recv(m_socket.native_handle(), data, size, MSG_DONTWAIT);
    } while (length < 0 && errno == EINTR);
    if (length > 0) {
        return static_cast<int>(length);
    }
    if (length < 0 && errno == EAGAIN) {
        return -1;
    }
    m_receiveError = length == 0 ? ErrorCode(asio::error::eof)
                                 : ErrorCode(errno, asio::error::get_system_category());
    return 0;
}

/// All is kept: no more is encrypted before it has been sent.
int TlsLayer::keep(const char* data, std::size_t size) {
    m_output.append(data, size);
    return static_cast<int>(size);
}

asio::awaitable<TlsLayer::ErrorCode> TlsLayer::shakeHands() {
    const auto self = shared_from_this();
    while (true) {
        ERR_clear_error();
        const int result = SSL_connect(m_ssl.get());
        const bool goesOn = needsMore(result);
        const ErrorCode failure = result == 1 || goesOn ? ErrorCode() : errorOf(result);
        while (true) { // also what says why it failed
            const ErrorCode error = sendOutput();
            if (error || m_output.empty()) {
                break;
            }
            ErrorCode waited;
            co_await m_socket.async_wait(
                tcp::socket::wait_write, asio::redirect_error(asio::use_awaitable, waited));
            if (waited) {
                co_return told(waited);
            }
        }
        if (!goesOn) {
            co_return told(failure);
        }
        ErrorCode waited;
        co_await m_socket.async_wait(
            tcp::socket::wait_read, asio::redirect_error(asio::use_awaitable, waited));
        if (waited) {
            co_return told(waited);
        }
    }
}

void TlsLayer::readSome(asio::mutable_buffer buffer, Done done) {
    std::size_t length = 0;
    while (!m_readError && length < buffer.size()) {
        std::size_t part = 0;
        ERR_clear_error();
        const int result = SSL_read_ex(
            m_ssl.get(), static_cast<char*>(buffer.data()) + length, buffer.size() - length, &part);
        length += part;
        if (needsMore(result)) {
            break;
        }
        m_readError = result == 1 ? ErrorCode() : errorOf(result);
    }
    if (!m_output.empty()) { // what was read may ask for an answer of TLS itself
        drain([](const ErrorCode&) {});
    }
    if (length > 0 || m_readError || buffer.size() == 0) {
        finish(std::move(done), length > 0 ? ErrorCode() : m_readError, length);
        return;
    }
    m_socket.async_wait(tcp::socket::wait_read,
        [self = shared_from_this(), buffer, done = std::move(done)](
            const ErrorCode& error) mutable {
            if (error) {
                done(self->told(error), 0);
            } else {
                self->readSome(buffer, std::move(done));
            }
        });
}

void TlsLayer::writeSome(asio::const_buffer buffer, Done done) {
    const auto self = shared_from_this();
    const std::size_t wanted = std::min(buffer.size(), sendSize);
    std::size_t length = 0;
    while (length < wanted) {
        std::size_t part = 0;
        ERR_clear_error();
        const int result = SSL_write_ex(
            m_ssl.get(), static_cast<const char*>(buffer.data()) + length, wanted - length, &part);
        length += part;
        if (result == 1) {
            continue;
        }
        if (length > 0) {
            break; // the next call meets the same
        }
        if (!needsMore(result)) {
            // OpenSSL tells no reason after a failure to read, which came first.
            const bool hasFailed = m_readError && m_readError != asio::error::eof;
            const ErrorCode error = hasFailed ? m_readError : errorOf(result);
            drain([self, error, done](const ErrorCode&) { self->finish(done, error, 0); });
            return;
        }
        // A message of TLS has come in by half; whoever reads takes the rest.
        const auto timer = std::make_shared<asio::steady_timer>(executor(), retryInterval);
        timer->async_wait(
            [self, timer, buffer, done](const ErrorCode&) { self->writeSome(buffer, done); });
        return;
    }
    drain([self, done = std::move(done), length](
              const ErrorCode& error) { self->finish(done, error, error ? 0 : length); });
}

/// Sends what is encrypted. Several may wait for this at a time.
void TlsLayer::drain(Drained drained) {
    const ErrorCode error = sendOutput();
    if (error || m_output.empty()) {
        drained(told(error));
        return;
    }
    m_socket.async_wait(tcp::socket::wait_write,
        [self = shared_from_this(), drained = std::move(drained)](const ErrorCode& waited) mutable {
            if (waited) {
                drained(self->told(waited));
            } else {
                self->drain(std::move(drained));
            }
        });
}

/// Sends as much as the socket takes. Nothing is left of the output afterwards, or an error.
TlsLayer::ErrorCode TlsLayer::sendOutput() {
    while (m_sent < m_output.size()) {
        const ssize_t length = send(m_socket.native_handle(), m_output.data() + m_sent,
            m_output.size() - m_sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (length >= 0) {
            m_sent += static_cast<std::size_t>(length);
        } else if (errno == EAGAIN) {
            return {};
        } else if (errno != EINTR) {
            return {errno, asio::error::get_system_category()};
        }
    }
    m_output.clear();
    m_sent = 0;
    return {};
}

void TlsLayer::shutDown(std::function<void()> done) {
    expireAfter(shutdownLimit);
    ERR_clear_error();
    SSL_shutdown(m_ssl.get());
    drain([self = shared_from_this(), done = std::move(done)](const ErrorCode& error) {
        if (error) {
            asio::post(self->executor(), done);
        } else {
            self->awaitShutdown(done);
        }
    });
}

void TlsLayer::awaitShutdown(std::function<void()> done) {
    ERR_clear_error();
    if (!needsMore(SSL_shutdown(m_ssl.get()))) {
        asio::post(executor(), std::move(done));
        return;
    }
    m_socket.async_wait(tcp::socket::wait_read,
        [self = shared_from_this(), done = std::move(done)](const ErrorCode& error) {
            if (error) {
                done();
            } else {
                self->awaitShutdown(done);
            }
        });
}

void TlsLayer::close() {
    m_timer.cancel();
    ErrorCode ignored;
    m_socket.close(ignored);
}

void TlsLayer::expireAfter(std::chrono::milliseconds duration) {
    m_timer.expires_after(duration);
    m_timer.async_wait([weak = weak_from_this()](const ErrorCode& error) {
        const auto self = weak.lock();
        const auto now = std::chrono::steady_clock::now();
        if (!error && self != nullptr && self->m_timer.expiry() <= now) {
            self->m_isExpired = true;
            self->close();
        }
    });
}

void TlsLayer::expireNever() {
    m_timer.expires_at(std::chrono::steady_clock::time_point::max());
}

int TlsLayer::unacknowledgedBytes() {
    int count = 0;
    const int status = ioctl(m_socket.native_handle(), SIOCOUTQ, &count);
    return status == 0 ? count : 0;
}

/// Whether a call of OpenSSL waits for what has not come in yet.
bool TlsLayer::needsMore(int result) const {
    return result <= 0 && SSL_get_error(m_ssl.get(), result) == SSL_ERROR_WANT_READ;
}

TlsLayer::ErrorCode TlsLayer::errorOf(int result) const {
    switch (SSL_get_error(m_ssl.get(), result)) {
    case SSL_ERROR_ZERO_RETURN:
        return asio::error::eof;
    case SSL_ERROR_SSL:
        return {static_cast<int>(ERR_get_error()), asio::error::get_ssl_category()};
    default:
        // An end that TLS was not told of may be the work of somebody in between.
        return m_receiveError && m_receiveError != asio::error::eof
            ? m_receiveError
            : ErrorCode(asio::ssl::error::stream_truncated);
    }
}

TlsLayer::ErrorCode TlsLayer::told(const ErrorCode& error) const {
    return error && m_isExpired ? ErrorCode(boost::beast::error::timeout) : error;
}

/// A call ends before what it was given is called.
void TlsLayer::finish(Done done, const ErrorCode& error, std::size_t length) {
    asio::post(
        executor(), [done = std::move(done), error = told(error), length] { done(error, length); });
}

} // namespace platform::linux_
