// SPDX-License-Identifier: MIT
// A connection as Asio's stream concepts want it, for HTTP and WebSocket above it.
#pragma once

#include "platform/linux/net/ByteLayer.h"

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/role.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform::linux_ {

class ClientStream {
public:
    using executor_type = boost::asio::any_io_executor;
    using ErrorCode = ByteLayer::ErrorCode;

    explicit ClientStream(std::shared_ptr<ByteLayer> layer)
        : m_layer(std::move(layer)) { }

    executor_type get_executor() noexcept { return m_layer->executor(); }
    ByteLayer& layer() { return *m_layer; }

    /// Of a response that is no upgrade (RFC 9110, section 7.8) its head alone is read, and then
    /// the stream is at its end: nothing needs the body of a refusal.
    void expectUpgrade() { m_expectsUpgrade = true; }

    /// The status of the HTTP response that the stream began with. It is known as soon as its line
    /// has come in, also when the rest of the response never does.
    std::optional<unsigned> responseStatus() const;

    /// AsyncReadStream. Reads into the first buffer alone.
    template <typename Buffers, typename Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(ErrorCode, std::size_t)>(
            [this](auto handler, boost::asio::mutable_buffer buffer) {
                readSome(buffer, erased(std::move(handler)));
            },
            token, firstOf<boost::asio::mutable_buffer>(buffers));
    }

    /// AsyncWriteStream. Small buffers are written together: each write may become a TLS record.
    template <typename Buffers, typename Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(ErrorCode, std::size_t)>(
            [this](auto handler, boost::asio::const_buffer buffer) {
                m_layer->writeSome(buffer, erased(std::move(handler)));
            },
            token, gathered(buffers));
    }

private:
    /// A record of TLS; what is as long is written as it is.
    static constexpr std::size_t recordSize = std::size_t{16} << 10;
    static constexpr std::size_t gatheredSize = 4 * recordSize;

    template <typename Buffer, typename Buffers>
    static Buffer firstOf(const Buffers& buffers) {
        const auto end = boost::asio::buffer_sequence_end(buffers);
        for (auto it = boost::asio::buffer_sequence_begin(buffers); it != end; ++it) {
            const Buffer buffer(*it);
            if (buffer.size() > 0) {
                return buffer;
            }
        }
        return {};
    }

    template <typename Buffers>
    boost::asio::const_buffer gathered(const Buffers& buffers) {
        const auto first = firstOf<boost::asio::const_buffer>(buffers);
        const std::size_t total = boost::asio::buffer_size(buffers);
        if (first.size() == total || first.size() >= recordSize) {
            return first;
        }
        m_gathered.resize(std::min(total, gatheredSize));
        boost::asio::buffer_copy(boost::asio::buffer(m_gathered), buffers);
        return boost::asio::buffer(m_gathered);
    }

    /// A handler, which can only be moved, as one that can be copied, of one type for all.
    template <typename Handler>
    static ByteLayer::Done erased(Handler handler) {
        return [shared = std::make_shared<Handler>(std::move(handler))](const ErrorCode& error,
                   std::size_t length) { std::move (*shared)(error, length); };
    }

    void readSome(boost::asio::mutable_buffer buffer, ByteLayer::Done done);
    bool isRefused() const;
    std::size_t lengthWithinHead(std::string_view bytes);

    std::shared_ptr<ByteLayer> m_layer;
    bool m_expectsUpgrade = false;
    std::size_t m_endSeen = 0; // bytes of the blank line that ends the head of a refusal
    std::string m_beginning; // of what was received
    std::string m_gathered; // being written
};

// What Beast's WebSocket asks of the stream below it.

/// How the end goes is of no interest, and does not cover up why the stream ends.
template <typename Handler>
void async_teardown(boost::beast::role_type /*role*/, ClientStream& stream, Handler&& handler) {
    const auto shared = std::make_shared<std::decay_t<Handler>>(std::forward<Handler>(handler));
    stream.layer().shutDown([shared] { std::move (*shared)(ClientStream::ErrorCode()); });
}

inline void teardown(
    boost::beast::role_type /*role*/, ClientStream& stream, ClientStream::ErrorCode& /*error*/) {
    stream.layer().close();
}

inline void beast_close_socket(ClientStream& stream) {
    stream.layer().close();
}

} // namespace platform::linux_
