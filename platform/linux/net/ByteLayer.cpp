// SPDX-License-Identifier: MIT
#include "platform/linux/net/ByteLayer.h"

#include <boost/asio/post.hpp>
#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;

class TcpLayer : public ByteLayer {
public:
    explicit TcpLayer(TcpStream stream)
        : m_stream(std::move(stream)) { }

    asio::any_io_executor executor() override { return m_stream.get_executor(); }

    void readSome(asio::mutable_buffer buffer, Done done) override {
        m_stream.async_read_some(buffer, std::move(done));
    }
    void writeSome(asio::const_buffer buffer, Done done) override {
        m_stream.async_write_some(buffer, std::move(done));
    }
    void shutDown(std::function<void()> done) override {
        ErrorCode ignored;
        m_stream.socket().shutdown(asio::socket_base::shutdown_both, ignored);
        asio::post(m_stream.get_executor(), std::move(done));
    }
    void close() override { m_stream.close(); }
    void expireAfter(std::chrono::milliseconds duration) override {
        m_stream.expires_after(duration);
    }
    void expireNever() override { m_stream.expires_never(); }

    int unacknowledgedBytes() override {
        int count = 0;
        const int status = ioctl(m_stream.socket().native_handle(), SIOCOUTQ, &count);
        return status == 0 ? count : 0;
    }

private:
    TcpStream m_stream;
};

} // namespace

std::unique_ptr<ByteLayer> makeLayer(TcpStream stream) {
    return std::make_unique<TcpLayer>(std::move(stream));
}

} // namespace platform::linux_
