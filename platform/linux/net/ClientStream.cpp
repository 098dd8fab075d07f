// SPDX-License-Identifier: MIT
#include "platform/linux/net/ClientStream.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <charconv>
#include <string_view>

namespace platform::linux_ {

namespace {

constexpr std::string_view statusLine = "HTTP/1.1 200";
constexpr std::string_view blankLine = "\r\n\r\n"; // with the end of the line before
constexpr unsigned switchingProtocols = 101;

} // namespace

std::optional<unsigned> ClientStream::responseStatus() const {
    unsigned status = 0;
    const char* end = m_beginning.data() + m_beginning.size();
    if (m_beginning.size() < statusLine.size() || !m_beginning.starts_with("HTTP/1.")
        || std::from_chars(end - 3, end, status).ptr != end || status < 100) {
        return std::nullopt;
    }
    return status;
}

bool ClientStream::isRefused() const {
    return m_expectsUpgrade && responseStatus().value_or(switchingProtocols) != switchingProtocols;
}

/// How many of the bytes to hand on.
std::size_t ClientStream::lengthWithinHead(std::string_view bytes) {
    if (!isRefused()) {
        return bytes.size();
    }
    std::size_t length = 0;
    while (length < bytes.size() && m_endSeen < blankLine.size()) {
        const char c = bytes[length++];
        m_endSeen = c == blankLine[m_endSeen] ? m_endSeen + 1 : c == '\r' ? 1 : 0;
    }
    return length;
}

void ClientStream::readSome(boost::asio::mutable_buffer buffer, ByteLayer::Done done) {
    if (m_endSeen == blankLine.size()) {
        boost::asio::post(
            get_executor(), [done = std::move(done)] { done(boost::asio::error::eof, 0); });
        return;
    }
    if (m_beginning.size() >= statusLine.size() && !isRefused()) {
        m_layer->readSome(buffer, std::move(done));
        return;
    }
    const auto noting
        = [this, buffer, done = std::move(done)](const ErrorCode& error, std::size_t length) {
              const std::size_t noted = std::min(length, statusLine.size() - m_beginning.size());
              const auto* bytes = static_cast<const char*>(buffer.data());
              m_beginning.append(bytes, noted);
              done(error, lengthWithinHead({bytes, length}));
          };
    m_layer->readSome(buffer, noting);
}

} // namespace platform::linux_
