// SPDX-License-Identifier: MIT
// The digests of CommonCrypto, as far as they are used.
#pragma once

#include <cstdint>

#pragma clang assume_nonnull begin

#define CC_SHA1_DIGEST_LENGTH 20
#define CC_SHA256_DIGEST_LENGTH 32

extern "C" {

using CC_LONG = std::uint32_t;
unsigned char* _Nullable CC_SHA1(const void* _Nullable data, CC_LONG length, unsigned char* digest);
unsigned char* _Nullable CC_SHA256(
    const void* _Nullable data, CC_LONG length, unsigned char* digest);

} // extern "C"

#pragma clang assume_nonnull end
