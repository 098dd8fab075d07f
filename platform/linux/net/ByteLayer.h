// SPDX-License-Identifier: MIT
// A connection as bytes, plain or encrypted, behind one interface: HTTP and WebSocket are compiled
// once for all.
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <functional>
#include <memory>

namespace platform::linux_ {

/// One read and one write may be under way at a time. A call ends before what it was given is
/// called.
class ByteLayer {
public:
    using ErrorCode = boost::system::error_code;
    using Done = std::function<void(const ErrorCode& error, std::size_t length)>;

    virtual ~ByteLayer() = default;
    virtual boost::asio::any_io_executor executor() = 0;
    virtual void readSome(boost::asio::mutable_buffer buffer, Done done) = 0;
    virtual void writeSome(boost::asio::const_buffer buffer, Done done) = 0;
    /// Ends the connection in good order, waiting no more than a moment for the peer to do so too.
    virtual void shutDown(std::function<void()> done) = 0;
    /// Ends it at once; what is under way fails.
    virtual void close() = 0;
    /// Has everything that is under way then fail with a timeout, until the next call.
    virtual void expireAfter(std::chrono::milliseconds duration) = 0;
    virtual void expireNever() = 0;
    /// Bytes that were written and that the peer has not acknowledged; 0 when that is unknown.
    virtual int unacknowledgedBytes() = 0;
};

using TcpStream = boost::beast::tcp_stream;

std::unique_ptr<ByteLayer> makeLayer(TcpStream stream);

} // namespace platform::linux_
