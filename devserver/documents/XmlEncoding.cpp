// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlEncoding.h"

#include <cerrno>
#include <cstddef>

#include <iconv.h>

namespace devserver {

namespace {

constexpr int none = -1;
constexpr int incomplete = -2;

/// The character that a byte stands for.
int converted(iconv_t converter, int byte) {
    std::array<char, 1> in{static_cast<char>(byte)};
    std::array<unsigned char, 8> out{};
    char* from = in.data();
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t fromLeft = in.size();
    std::size_t toLeft = out.size();
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) != 0) {
        return errno == EINVAL ? incomplete : none;
    }
    return toLeft == 4 && out[2] == 0 ? out[0] | out[1] << 8 : none;
}

} // namespace

std::optional<std::array<int, 256>> meaningsOfBytes(const std::string& encoding) {
    const iconv_t converter = iconv_open("UTF-32LE", encoding.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return std::nullopt;
    }
    std::array<int, 256> meanings{};
    bool isPossible = true;
    for (std::size_t byte = 0; byte < meanings.size(); ++byte) {
        meanings[byte] = converted(converter, static_cast<int>(byte));
        const bool isAscii = byte < 0x80; // stands for itself
        isPossible = isPossible && meanings[byte] != incomplete
            && (!isAscii || meanings[byte] == static_cast<int>(byte));
    }
    iconv_close(converter);
    return isPossible ? std::optional(meanings) : std::nullopt;
}

} // namespace devserver
