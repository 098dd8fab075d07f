// SPDX-License-Identifier: MIT
// What all TLS connections have in common.
#pragma once

#include "foundation/Handle.h"
#include "platform/linux/net/Expected.h"

#include <openssl/ssl.h>

namespace platform::linux_ {

using TlsContext = Handle<SSL_CTX, SSL_CTX_free>;

/// TLS 1.2 or later; trusts whom the system trusts, or whom SSL_CERT_DIR and SSL_CERT_FILE name.
Expected<TlsContext> makeTlsContext();

} // namespace platform::linux_
