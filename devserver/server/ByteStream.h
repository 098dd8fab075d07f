// SPDX-License-Identifier: MIT
// The bytes of a TLS connection, with one type of handler for all: what Beast builds upon it is
// compiled without the layers below.
#pragma once

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream_base.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/system/error_code.hpp>

namespace devserver {

/// An AsyncReadStream and AsyncWriteStream of Asio. Handlers run on its executor, whatever they are
/// bound to, and end with an error when it is closed.
class ByteStream {
public:
    using executor_type = boost::asio::any_io_executor;
    using Role = boost::asio::ssl::stream_base::handshake_type;

    /// A handler of any type: called once, with what failed and the number of bytes.
    class Done {
    public:
        template <typename Handler>
        explicit Done(Handler handler)
            : m_handler(std::make_unique<Kept<Handler>>(std::move(handler))) { }
        void operator()(boost::system::error_code error, std::size_t length = 0) {
            std::exchange(m_handler, nullptr)->call(error, length);
        }

    private:
        struct Callable {
            virtual ~Callable() = default;
            virtual void call(boost::system::error_code error, std::size_t length) = 0;
        };
        template <typename Handler>
        struct Kept final : Callable {
            explicit Kept(Handler&& handler)
                : m_handler(std::move(handler)) { }
            void call(boost::system::error_code error, std::size_t length) override {
                m_handler(error, length);
            }
            Handler m_handler;
        };
        std::unique_ptr<Callable> m_handler;
    };

    ByteStream(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls);
    ~ByteStream();
    ByteStream(ByteStream&& other) noexcept;
    ByteStream& operator=(ByteStream&& other) noexcept;

    executor_type get_executor() noexcept;

    /// The limit of each operation from now on: closed when it takes longer.
    void limitWaiting(std::chrono::steady_clock::duration longest);
    void waitForever();

    void handshake(Role role, Done done);
    /// Ends the TLS connection; the other side sees a whole one.
    void shutDown(Done done);
    /// Ends the TCP connection.
    void close();
    /// The same, which the other side sees as a broken one.
    void reset();

    template <typename Buffers, typename Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, boost::asio::mutable_buffer buffer) {
                read(buffer, Done(std::move(handler)));
            },
            token, firstOf(buffers));
    }

    template <typename Buffers, typename Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, std::vector<boost::asio::const_buffer> list) {
                write(std::move(list), Done(std::move(handler)));
            },
            token,
            std::vector<boost::asio::const_buffer>(boost::asio::buffer_sequence_begin(buffers),
                boost::asio::buffer_sequence_end(buffers)));
    }

private:
    struct Impl;

    /// The first that holds anything; one that is empty when none does.
    template <typename Buffers>
    static boost::asio::mutable_buffer firstOf(const Buffers& buffers) {
        for (auto buffer = boost::asio::buffer_sequence_begin(buffers);
             buffer != boost::asio::buffer_sequence_end(buffers); ++buffer) {
            if (boost::asio::mutable_buffer(*buffer).size() > 0) {
                return *buffer;
            }
        }
        return {};
    }

    void read(boost::asio::mutable_buffer buffer, Done done);
    void write(std::vector<boost::asio::const_buffer> buffers, Done done);

    std::unique_ptr<Impl> m_impl;
};

/// For Beast, which closes what takes too long.
inline void beast_close_socket(ByteStream& stream) {
    stream.close();
}

/// For Beast, after the closing handshake.
template <typename Handler>
void async_teardown(boost::beast::role_type, ByteStream& stream, Handler&& handler) {
    stream.shutDown(
        ByteStream::Done([kept = std::forward<Handler>(handler)](boost::system::error_code error,
                             std::size_t) mutable { kept(error); }));
}

} // namespace devserver
