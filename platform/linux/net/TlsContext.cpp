// SPDX-License-Identifier: MIT
#include "platform/linux/net/TlsContext.h"

#include "platform/linux/net/TlsLayer.h"

#include <openssl/err.h>

namespace platform::linux_ {

Expected<TlsContext> makeTlsContext() {
    ERR_clear_error();
    TlsContext context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1
        || SSL_CTX_set_default_verify_file(context.get()) != 1
        || SSL_CTX_set_default_verify_dir(context.get()) != 1) {
        const char* const reason = ERR_reason_error_string(ERR_peek_error());
        return Failure{std::string("the TLS library of this computer cannot be used (")
            + (reason != nullptr ? reason : "no reason") + ')'};
    }
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_clear_options(
        context.get(), SSL_OP_ALLOW_NO_DHE_KEX); // each connection has keys of its own
    SSL_CTX_set_session_cache_mode(
        context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context.get(), TlsLayer::sessionCame);
    return context;
}

void SharedTlsContext::begin() {
    const std::lock_guard lock(m_mutex);
    beginLocked();
}

void SharedTlsContext::beginLocked() {
    if (!m_context && !m_making.valid()) {
        m_making = std::async(makeTlsContext); // where no thread can be had, by get()
    }
}

void SharedTlsContext::finish() {
    const std::lock_guard lock(m_mutex);
    if (m_making.valid()) {
        m_making.wait();
    }
}

Expected<SSL_CTX*> SharedTlsContext::get() {
    const std::lock_guard lock(m_mutex);
    beginLocked();
    if (!m_context) {
        auto made = m_making.get();
        if (!made) {
            return made.failure();
        }
        m_context = std::move(*made);
    }
    return m_context.get();
}

} // namespace platform::linux_
