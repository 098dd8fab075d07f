// SPDX-License-Identifier: MIT
// Owners of OpenSSL's objects. For .cpp files alone.
#pragma once

#include "foundation/Handle.h"

#include <optional>
#include <string>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace devserver::openssl {

using Bio = Handle<BIO, BIO_free_all>;
using Key = Handle<EVP_PKEY, EVP_PKEY_free>;
using Certificate = Handle<X509, X509_free>;
using Extension = Handle<X509_EXTENSION, X509_EXTENSION_free>;

/// Text as OpenSSL takes bytes.
inline const unsigned char* unsignedBytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
inline unsigned char* unsignedBytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

/// The bytes that `write` puts into a memory BIO; nothing when it does not return 1.
template <typename Write>
std::optional<std::string> written(Write&& write) {
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || write(bio.get()) != 1) {
        return std::nullopt;
    }
    std::string text(BIO_ctrl_pending(bio.get()), '\0');
    std::size_t length = 0;
    if (BIO_read_ex(bio.get(), text.data(), text.size(), &length) != 1) {
        return std::nullopt;
    }
    text.resize(length);
    return text;
}

/// The latest error in words; the queue is empty afterwards.
inline std::string lastError() {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown error";
}

} // namespace devserver::openssl
