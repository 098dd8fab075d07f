// SPDX-License-Identifier: MIT
// Base64, compared with OpenSSL's. Input: the bytes to encode, which are also a text to decode.
#include "foundation/Base64.h"
#include "foundation/Utf8.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <openssl/evp.h>

using fuzz::require;

namespace {

const unsigned char* characters(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string encodedByOpenSsl(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), characters(bytes),
        static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

/// Padding is decoded to zeros, which are dropped.
Bytes decodedByOpenSsl(std::string_view text) {
    Bytes bytes(text.size() / 4 * 3);
    const int length
        = EVP_DecodeBlock(bytes.data(), characters(text), static_cast<int>(text.size()));
    require(length == static_cast<int>(bytes.size()), "OpenSSL decodes what we decode");
    bytes.resize(
        bytes.size() - static_cast<std::size_t>(std::count(text.begin(), text.end(), '=')));
    return bytes;
}

/// RFC 4648, section 4, the unused bits aside.
bool isCanonical(std::string_view text) {
    const std::size_t end
        = std::min(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                          "0123456789+/"),
            text.size());
    const std::string_view padding = text.substr(end);
    return text.size() % 4 == 0 && (padding.empty() || padding == "=" || padding == "==");
}

} // namespace

void fuzz::target(std::string_view input) {
    const std::string encoded = base64Encoded(bytesOf(input));
    require(encoded == encodedByOpenSsl(input), "both encode alike");
    require(
        base64Decoded(encoded) == Bytes(input.begin(), input.end()), "what was encoded decodes");

    const auto decoded = base64Decoded(input);
    require(decoded.has_value() == isCanonical(input), "nothing but canonical text is decoded");
    if (decoded) {
        require(*decoded == decodedByOpenSsl(input), "both decode alike");
    }
    const bool isText = decoded.has_value() || isUtf8(input);
    const auto canonical = isText ? base64Canonical(JsonText(std::string(input))) : std::nullopt;
    require(canonical.has_value() == decoded.has_value(), "what decodes has a canonical text");
    if (decoded) {
        require(*canonical == base64Encoded(*decoded), "it is the one that encoding gives");
        require(canonical->isPlain(), "it needs no escape");
    }
}
