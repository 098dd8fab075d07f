// SPDX-License-Identifier: MIT
// Times, and the baseline of everything that signs.
#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <vector>

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

inline constexpr const char* rsaBaselineName = "an RSA-2048 signature by OpenSSL";

/// Seconds that OpenSSL takes for one RSA-2048 signature of a SHA-256 digest.
inline double rsaSignatureTime() {
    using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
    using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;
    const Key key(EVP_RSA_gen(2048), EVP_PKEY_free);
    const Context context(EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
    const std::vector<unsigned char> digest(32, 0x5A);
    std::vector<unsigned char> signature(256);
    std::vector<double> times;
    for (int run = 0; run < 200; ++run) {
        const auto began = Clock::now();
        std::size_t length = signature.size();
        if (EVP_PKEY_sign_init(context.get()) != 1
            || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1
            || EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256()) != 1
            || EVP_PKEY_sign(context.get(), signature.data(), &length, digest.data(), digest.size())
                != 1) {
            throw std::runtime_error("OpenSSL does not sign");
        }
        times.push_back(secondsSince(began));
    }
    return median(times);
}
