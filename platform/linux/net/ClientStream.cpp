// SPDX-License-Identifier: MIT
#include "platform/linux/net/ClientStream.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace platform::linux_ {

namespace {

constexpr std::string_view statusLine = "HTTP/1.1 200";

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

void ClientStream::readSome(boost::asio::mutable_buffer buffer, ByteLayer::Done done) {
    if (m_beginning.size() >= statusLine.size()) {
        m_layer->readSome(buffer, std::move(done));
        return;
    }
    const auto noting
        = [this, buffer, done = std::move(done)](const ErrorCode& error, std::size_t length) {
              const std::size_t noted = std::min(length, statusLine.size() - m_beginning.size());
              m_beginning.append(static_cast<const char*>(buffer.data()), noted);
              done(error, length);
          };
    m_layer->readSome(buffer, noting);
}

} // namespace platform::linux_
