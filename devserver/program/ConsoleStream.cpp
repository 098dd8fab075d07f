// SPDX-License-Identifier: MIT
#include "devserver/program/ConsoleStream.h"

#include <string>

namespace devserver {

namespace {

/// How many bytes follow the first one of a sequence; none when it is no first one.
std::size_t followersOf(unsigned char first) {
    if (first >= 0xC2 && first <= 0xDF) {
        return 1;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return 2;
    }
    return first >= 0xF0 && first <= 0xF4 ? 3 : 0;
}

} // namespace

ConsoleStream::Buffer::int_type ConsoleStream::Buffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) {
        return traits_type::not_eof(c);
    }
    return take(static_cast<unsigned char>(traits_type::to_char_type(c))) ? c : traits_type::eof();
}

bool ConsoleStream::Buffer::take(unsigned char byte) {
    const bool follows = (byte & 0xC0) == 0x80;
    if (m_missing > 0 && !follows) {
        m_missing = 0; // it was none
        if (!put('?')) {
            return false;
        }
    }
    if (m_missing > 0) {
        m_begun += static_cast<char>(byte);
        if (--m_missing > 0) {
            return true;
        }
        const bool isControl = m_begun[0] == '\xC2' && byte < 0xA0; // C1
        const auto length = static_cast<std::streamsize>(m_begun.size());
        return isControl ? put('?') : m_console.sputn(m_begun.data(), length) == length;
    }
    if (byte < 0x80) {
        const bool isControl = (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
        return put(isControl ? '?' : static_cast<char>(byte));
    }
    m_missing = followersOf(byte);
    m_begun.assign(1, static_cast<char>(byte));
    return m_missing > 0 || put('?');
}

} // namespace devserver
