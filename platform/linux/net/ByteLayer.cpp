// SPDX-License-Identifier: MIT
#include "platform/linux/net/ByteLayer.h"

#include <boost/asio/post.hpp>
#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;

constexpr std::chrono::milliseconds shutdownLimit{500};

void shutDownStream(TcpStream& stream, std::function<void()> done) {
    ByteLayer::ErrorCode ignored;
    stream.socket().shutdown(asio::socket_base::shutdown_both, ignored);
    asio::post(stream.get_executor(), std::move(done));
}

void shutDownStream(TlsStream& stream, std::function<void()> done) {
    stream.next_layer().expires_after(shutdownLimit);
    stream.async_shutdown([done = std::move(done)](const ByteLayer::ErrorCode&) { done(); });
}

TcpStream& tcpOf(TcpStream& stream) {
    return stream;
}

TcpStream& tcpOf(TlsStream& stream) {
    return stream.next_layer();
}

template <typename Stream>
class StreamLayer : public ByteLayer {
public:
    explicit StreamLayer(Stream stream)
        : m_stream(std::move(stream)) { }

    asio::any_io_executor executor() override { return m_stream.get_executor(); }

    void readSome(asio::mutable_buffer buffer, Done done) override {
        m_stream.async_read_some(buffer, std::move(done));
    }
    void writeSome(asio::const_buffer buffer, Done done) override {
        m_stream.async_write_some(buffer, std::move(done));
    }
    void shutDown(std::function<void()> done) override {
        shutDownStream(m_stream, std::move(done));
    }
    void close() override { tcpOf(m_stream).close(); }
    void expireAfter(std::chrono::milliseconds duration) override {
        tcpOf(m_stream).expires_after(duration);
    }
    void expireNever() override { tcpOf(m_stream).expires_never(); }

    int unacknowledgedBytes() override {
        int count = 0;
        const int status = ioctl(tcpOf(m_stream).socket().native_handle(), SIOCOUTQ, &count);
        return status == 0 ? count : 0;
    }

private:
    Stream m_stream;
};

} // namespace

std::unique_ptr<ByteLayer> makeLayer(TcpStream stream) {
    return std::make_unique<StreamLayer<TcpStream>>(std::move(stream));
}

std::unique_ptr<ByteLayer> makeLayer(TlsStream stream) {
    return std::make_unique<StreamLayer<TlsStream>>(std::move(stream));
}

} // namespace platform::linux_
