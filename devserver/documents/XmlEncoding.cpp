// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlEncoding.h"

#include <cerrno>
#include <cstddef>
#include <string_view>

#include <iconv.h>

namespace devserver {

namespace {

constexpr int none = -1;
constexpr int incomplete = -2;
constexpr int largestCharacter = 0xFFFF; // that the parser takes
constexpr std::size_t longestSequence = 3;

/// The one character of some bytes.
int converted(iconv_t converter, std::string_view bytes) {
    std::array<char, longestSequence> in{};
    bytes.copy(in.data(), in.size());
    std::array<unsigned char, 8> out{};
    char* from = in.data();
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t fromLeft = bytes.size();
    std::size_t toLeft = out.size();
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) != 0) {
        return errno == EINVAL ? incomplete : none;
    }
    const int code = out[0] | out[1] << 8 | out[2] << 16;
    return toLeft == 4 && code <= largestCharacter ? code : none;
}

} // namespace

std::unique_ptr<XmlEncoding> XmlEncoding::of(const std::string& name) {
    const iconv_t converter = iconv_open("UTF-32LE", name.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return nullptr;
    }
    std::unique_ptr<XmlEncoding> encoding(new XmlEncoding(converter));
    for (int byte = 0; byte < 0x80; ++byte) {
        // Some have other characters for these two, in East Asia.
        if (encoding->m_meanings[static_cast<std::size_t>(byte)] != byte && byte != '\\'
            && byte != '~') {
            return nullptr;
        }
    }
    return encoding;
}

XmlEncoding::XmlEncoding(void* converter)
    : m_converter(converter) {
    for (std::size_t byte = 0; byte < m_meanings.size(); ++byte) {
        m_meanings[byte] = meaningOf(static_cast<unsigned char>(byte));
    }
}

XmlEncoding::~XmlEncoding() {
    iconv_close(m_converter);
}

int XmlEncoding::meaningOf(unsigned char first) const {
    std::string sequence(1, static_cast<char>(first));
    const int alone = converted(m_converter, sequence);
    if (alone != incomplete) {
        return alone;
    }
    bool mayBeLonger = false;
    for (int second = 0x30; second < 0x100; ++second) {
        sequence.resize(1);
        sequence += static_cast<char>(second);
        const int both = converted(m_converter, sequence);
        if (both >= 0) {
            return -2;
        }
        mayBeLonger = mayBeLonger || both == incomplete;
    }
    return mayBeLonger ? -3 : none;
}

int XmlEncoding::character(const char* sequence) const {
    const int meaning = m_meanings[static_cast<unsigned char>(sequence[0])];
    if (meaning >= none) {
        return meaning;
    }
    const int code = converted(m_converter, {sequence, static_cast<std::size_t>(-meaning)});
    return code >= 0 ? code : none;
}

} // namespace devserver
