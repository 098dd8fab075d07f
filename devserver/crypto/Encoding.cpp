// SPDX-License-Identifier: MIT
#include "devserver/crypto/Encoding.h"

#include "devserver/crypto/OpenSsl.h"

#include <openssl/sha.h>

namespace devserver {

namespace {

using openssl::unsignedBytes;

constexpr std::string_view alphabet
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string base64Encoded(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0'); // the library adds a NUL
    const int length = EVP_EncodeBlock(
        unsignedBytes(text), unsignedBytes(bytes), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    const std::size_t digits = text.find_first_not_of(alphabet);
    const std::size_t padding = digits == std::string_view::npos ? 0 : text.size() - digits;
    if (padding > 2 || text.substr(text.size() - padding) != std::string_view("==", padding)) {
        return std::nullopt;
    }
    std::string bytes(text.size() / 4 * 3, '\0');
    const int length
        = EVP_DecodeBlock(unsignedBytes(bytes), unsignedBytes(text), static_cast<int>(text.size()));
    if (length != static_cast<int>(bytes.size())) {
        return std::nullopt;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

std::string sha1(std::string_view bytes) {
    std::string digest(SHA_DIGEST_LENGTH, '\0');
    EVP_Digest(bytes.data(), bytes.size(), unsignedBytes(digest), nullptr, EVP_sha1(), nullptr);
    return digest;
}

std::optional<std::string> certificatePemOfDer(std::string_view der) {
    const unsigned char* position = unsignedBytes(der);
    const openssl::Certificate certificate(
        d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    if (!certificate || position != unsignedBytes(der) + der.size()) {
        ERR_clear_error();
        return std::nullopt;
    }
    return openssl::written([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); });
}

} // namespace devserver
