// SPDX-License-Identifier: MIT
#pragma once

#include "foundation/Handle.h"

#include <mutex>
#include <openssl/evp.h>
#include <openssl/pem.h>

/// RSA-2048 keys of a pool that is made with the build, each given once in a process. When the pool
/// is empty they are made on the spot. Null when that fails.
class RsaKeys {
public:
    using Key = Handle<EVP_PKEY, EVP_PKEY_free>;

    explicit RsaKeys(const char* pool)
        : m_pool(BIO_new_file(pool, "r")) { }

    /// From any thread.
    Key next() {
        const std::lock_guard lock(m_mutex);
        Key key(
            m_pool ? PEM_read_bio_PrivateKey(m_pool.get(), nullptr, nullptr, nullptr) : nullptr);
        return key ? std::move(key) : Key(EVP_RSA_gen(2048));
    }

private:
    std::mutex m_mutex;
    Handle<BIO, BIO_vfree> m_pool;
};
