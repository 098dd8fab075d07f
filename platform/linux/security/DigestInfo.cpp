// SPDX-License-Identifier: MIT
#include "platform/linux/security/DigestInfo.h"

#include <openssl/err.h>
#include <openssl/evp.h>

namespace platform {

namespace {

constexpr std::size_t sha1Length = 20;
constexpr std::size_t sha256Length = 32;

// The DER before the digest itself (RFC 8017, 9.2, note 1).
constexpr std::uint8_t sha1Prefix[] = {
    0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2B, 0x0E, 0x03, 0x02, 0x1A, 0x05, 0x00, 0x04, sha1Length};
constexpr std::uint8_t sha256Prefix[] = {0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
    0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, sha256Length};

Bytes joined(BytesView prefix, BytesView digest) {
    Bytes bytes(prefix.begin(), prefix.end());
    bytes.insert(bytes.end(), digest.begin(), digest.end());
    return bytes;
}

} // namespace

std::variant<Bytes, std::string> digestInfo(SecKeyAlgorithm algorithm, BytesView data) {
    if (algorithm == SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256) {
        if (data.size() != sha256Length) {
            return "A SHA-256 digest has 32 bytes, but " + std::to_string(data.size())
                + " were given.";
        }
        return joined(sha256Prefix, data);
    }
    std::uint8_t digest[sha1Length];
    if (EVP_Digest(data.data(), data.size(), digest, nullptr, EVP_sha1(), nullptr) != 1) {
        ERR_clear_error();
        return "The system computes no SHA-1 digests.";
    }
    return joined(sha1Prefix, digest);
}

} // namespace platform
