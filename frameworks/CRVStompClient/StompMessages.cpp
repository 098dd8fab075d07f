// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompMessages.h"

#include <algorithm>
#include <charconv>

namespace stomp {

namespace {

constexpr std::string_view lengthName = "content-length:";

/// Heads up to this size are looked at: far below any limit of theirs.
constexpr std::size_t usualHead = std::size_t{4} << 10;

/// A head with one content-length, cut where its digits stand.
struct Head {
    std::string_view before;
    std::string_view digits;
    std::string_view after; // to the blank line
    std::size_t length = 0;
};

/// Nothing unless a usual head is all there.
std::optional<Head> usualHeadOf(std::string_view input) {
    const std::string_view start = input.substr(0, usualHead);
    const std::size_t end = start.find("\n\n");
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view text = start.substr(0, end + 2);
    const std::size_t name = text.find(lengthName);
    if (name == std::string_view::npos || name == 0 || text[name - 1] != '\n'
        || text.find(lengthName, name + 1) != std::string_view::npos
        || text.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    Head head;
    const std::size_t digits = name + lengthName.size();
    head.before = text.substr(0, digits);
    const std::size_t lineEnd = text.find('\n', digits);
    head.digits = text.substr(digits, lineEnd - digits);
    head.after = text.substr(lineEnd);
    const char* const last = head.digits.data() + head.digits.size();
    const auto [parsed, status] = std::from_chars(head.digits.data(), last, head.length);
    return parsed == last && status == std::errc() ? std::optional(head) : std::nullopt;
}

Headers withLength(const Headers& headers, std::string_view digits) {
    Headers all;
    for (const auto& [name, value] : headers.entries()) {
        all.add(name, name + ":" == lengthName ? std::string(digits) : value);
    }
    return all;
}

} // namespace

MessageDecoder::Result MessageDecoder::decode(OwnedText& input, Frame& frame, OwnedText& body) {
    if (!m_error.empty()) {
        return Result::failed;
    }
    if (m_length || (m_decoder.isBetweenFrames() && beginLargeBody(input))) {
        return takeLargeBody(input, frame, body);
    }
    std::string_view rest = input.view();
    const Result result = m_decoder.decode(rest, frame);
    input.takePrefix(input.size() - rest.size());
    if (result == Result::frame) {
        frame.body.push_back('\0');
        body = std::exchange(frame.body, {});
    }
    return result;
}

/// Takes the head of a frame with a large body.
bool MessageDecoder::beginLargeBody(OwnedText& input) {
    const std::size_t start = input.view().find_first_not_of("\r\n");
    if (start == std::string_view::npos) {
        return false;
    }
    const std::optional<Head> head = usualHeadOf(input.view().substr(start));
    if (!head || head->length < m_large || head->length > m_limits.body) {
        return false;
    }
    // The decoder is given the frame without its body, so that all rules of heads are its own.
    const std::string empty = std::string(head->before) + "0" + std::string(head->after) + '\0';
    std::string_view text = empty;
    FrameDecoder decoder = m_decoder;
    if (decoder.decode(text, m_frame) != Result::frame || !text.empty() || !m_frame.body.empty()) {
        return false; // no such head, which the decoder itself shall tell
    }
    m_frame.headers = withLength(m_frame.headers, head->digits);
    m_length = head->length;
    input.takePrefix(start + head->before.size() + head->digits.size() + head->after.size());
    return true;
}

MessageDecoder::Result MessageDecoder::takeLargeBody(
    OwnedText& input, Frame& frame, OwnedText& body) {
    addToBody(input.takePrefix(std::min(input.size(), *m_length - bodySize())));
    if (input.empty()) {
        return Result::needMore;
    }
    if (input.view().front() != '\0') {
        m_error = "a frame does not end where its content-length says";
        return Result::failed;
    }
    addToBody(input.takePrefix(1));
    frame = std::exchange(m_frame, {});
    body = m_copiedBody.empty() ? std::exchange(m_body, {})
                                : OwnedText(std::exchange(m_copiedBody, {}));
    m_length.reset();
    return Result::frame;
}

void MessageDecoder::addToBody(OwnedText part) {
    if (part.empty() || (m_copiedBody.empty() && m_body.takeOverNext(part))) {
        return;
    }
    if (bodySize() == 0) {
        m_body = std::move(part);
        return;
    }
    if (m_copiedBody.empty()) {
        m_copiedBody.reserve(*m_length + 1);
    }
    m_copiedBody += m_body.view();
    m_body = {};
    m_copiedBody += part.view();
}

} // namespace stomp
