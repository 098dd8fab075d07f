// SPDX-License-Identifier: MIT
#include "platform/linux/net/ResponseBody.h"

#include <algorithm>
#include <charconv>

namespace platform::linux_ {

namespace {

constexpr std::size_t longestLine = std::size_t{4} << 10; // bytes
constexpr std::size_t longestTrailer = std::size_t{64} << 10;

/// The length at the beginning of a chunk's first line, before any extension.
std::optional<std::uint64_t> chunkLength(std::string_view line) {
    std::uint64_t length = 0;
    const char* const last = line.data() + line.size();
    const auto [end, error] = std::from_chars(line.data(), last, length, 16);
    const bool isWhole = end == last || *end == ';' || *end == ' ' || *end == '\t';
    return error == std::errc() && isWhole ? std::optional(length) : std::nullopt;
}

} // namespace

ResponseBody ResponseBody::plain(std::optional<std::uint64_t> length, std::size_t limit) {
    ResponseBody body(length ? Part::data : Part::toTheEnd, limit);
    body.m_left = length.value_or(0);
    if (length == 0U) {
        body.m_state = State::complete;
    } else if (body.m_left > limit) {
        body.m_state = State::tooLong;
    }
    return body;
}

ResponseBody ResponseBody::chunked(std::size_t limit) {
    ResponseBody body(Part::sizeLine, limit);
    body.m_isChunked = true;
    return body;
}

void ResponseBody::take(std::string_view bytes) {
    while (!bytes.empty() && m_state == State::reading) {
        if (m_part == Part::toTheEnd || m_part == Part::data) {
            takeData(bytes);
        } else {
            takeLine(bytes);
        }
    }
}

void ResponseBody::endOfStream() {
    if (m_state == State::reading && m_part == Part::toTheEnd) {
        m_state = State::complete;
    }
}

void ResponseBody::takeData(std::string_view& bytes) {
    const bool isBounded = m_part == Part::data;
    const std::size_t length = isBounded
        ? static_cast<std::size_t>(std::min<std::uint64_t>(m_left, bytes.size()))
        : bytes.size();
    if (length > m_limit - m_body.size()) {
        m_state = State::tooLong;
        return;
    }
    m_body.append(bytes.substr(0, length));
    bytes.remove_prefix(length);
    m_left -= isBounded ? length : 0;
    if (isBounded && m_left == 0) {
        m_part = Part::dataEnd;
        m_state = m_isChunked ? State::reading : State::complete;
    }
}

/// Up to its line feed, which a carriage return precedes.
void ResponseBody::takeLine(std::string_view& bytes) {
    const std::size_t end = bytes.find('\n');
    const std::size_t length = std::min(end, bytes.size());
    if (length > longestLine - m_line.size()) {
        m_state = State::malformed;
        return;
    }
    m_line.append(bytes.substr(0, length));
    bytes.remove_prefix(std::min(length + 1, bytes.size()));
    if (end == std::string_view::npos) {
        return;
    }
    if (!m_line.ends_with('\r')) {
        m_state = State::malformed;
        return;
    }
    m_line.pop_back();
    lineEnded();
    m_line.clear();
}

void ResponseBody::lineEnded() {
    if (m_part == Part::dataEnd) {
        m_part = Part::sizeLine;
        m_state = m_line.empty() ? State::reading : State::malformed;
        return;
    }
    if (m_part == Part::trailerLine) {
        m_trailerSize += m_line.size();
        if (m_line.empty()) {
            m_state = State::complete;
        } else if (m_trailerSize > longestTrailer) {
            m_state = State::malformed;
        }
        return;
    }
    const std::optional<std::uint64_t> length = chunkLength(m_line);
    if (!length) {
        m_state = State::malformed;
    } else if (*length > m_limit - m_body.size()) {
        m_state = State::tooLong;
    } else {
        m_left = *length;
        m_part = m_left == 0 ? Part::trailerLine : Part::data;
    }
}

} // namespace platform::linux_
