// SPDX-License-Identifier: MIT
#include "devserver/server/ByteStream.h"

#include <boost/asio/socket_base.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

namespace devserver {

namespace asio = boost::asio;
namespace beast = boost::beast;

struct ByteStream::Impl {
    Impl(asio::ip::tcp::socket socket, asio::ssl::context& context)
        : tls(std::move(socket), context) { }

    beast::tcp_stream& tcp() { return tls.next_layer(); }

    beast::ssl_stream<beast::tcp_stream> tls;
};

ByteStream::ByteStream(asio::ip::tcp::socket socket, asio::ssl::context& tls)
    : m_impl(std::make_unique<Impl>(std::move(socket), tls)) {
}

ByteStream::~ByteStream() = default;
ByteStream::ByteStream(ByteStream&& other) noexcept = default;
ByteStream& ByteStream::operator=(ByteStream&& other) noexcept = default;

ByteStream::executor_type ByteStream::get_executor() noexcept {
    return m_impl->tls.get_executor();
}

void ByteStream::limitWaiting(std::chrono::steady_clock::duration longest) {
    m_impl->tcp().expires_after(longest);
}

void ByteStream::waitForever() {
    m_impl->tcp().expires_never();
}

void ByteStream::handshake(Role role, Done done) {
    m_impl->tls.async_handshake(role, std::move(done));
}

void ByteStream::shutDown(Done done) {
    m_impl->tls.async_shutdown(std::move(done));
}

void ByteStream::close() {
    m_impl->tcp().close();
}

void ByteStream::reset() {
    boost::system::error_code ignored;
    m_impl->tcp().socket().set_option(asio::socket_base::linger(true, 0), ignored);
    close();
}

void ByteStream::read(asio::mutable_buffer buffer, Done done) {
    m_impl->tls.async_read_some(buffer, std::move(done));
}

void ByteStream::write(std::vector<asio::const_buffer> buffers, Done done) {
    m_impl->tls.async_write_some(buffers, std::move(done));
}

} // namespace devserver
