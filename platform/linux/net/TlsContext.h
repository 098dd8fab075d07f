// SPDX-License-Identifier: MIT
// What all TLS connections have in common.
#pragma once

#include "foundation/Handle.h"
#include "platform/linux/net/Expected.h"

#include <future>
#include <mutex>
#include <openssl/ssl.h>

namespace platform::linux_ {

using TlsContext = Handle<SSL_CTX, SSL_CTX_free>;

/// For a TlsLayer alone. TLS 1.2 or later; trusts whom the system trusts, or whom SSL_CERT_DIR and
/// SSL_CERT_FILE name.
Expected<TlsContext> makeTlsContext();

/// Makes it on a thread of its own, since reading the system's authorities takes tens of
/// milliseconds, in which a name can be looked up and a connection be opened. From any thread.
class SharedTlsContext {
public:
    void begin();

    /// Waits until nothing is being made, as it must not be while the process ends.
    void finish();

    /// Waits until it is made. After a failure the next call tries anew.
    Expected<SSL_CTX*> get();

private:
    void beginLocked();

    std::mutex m_mutex;
    std::future<Expected<TlsContext>> m_making;
    TlsContext m_context;
};

} // namespace platform::linux_
