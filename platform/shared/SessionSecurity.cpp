// SPDX-License-Identifier: MIT
#include "platform/shared/SessionSecurity.h"

namespace platform {

namespace {

constexpr const char* keychainName = "keychain";

/// What the keychain answers when its question was cancelled or denied: errSecUserCanceled, and for
/// keys of a file CSSMERR_CSP_USER_CANCELED and CSSMERR_CSP_OPERATION_AUTH_DENIED.
bool isRefusal(long code) {
    return code == errSecUserCanceled || code == -2147415839 || code == -2147416032;
}

} // namespace

SecSignature SessionSecurity::SecKeyCreateSignature(
    const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) {
    if (m_refused.contains(keychainName)) {
        return {std::nullopt, "The keychain's question was refused in this session."};
    }
    Signed made = sign(key, algorithm, data);
    if (isRefusal(made.errorCode)) {
        m_refused.add(keychainName);
    }
    return std::move(made.signature);
}

} // namespace platform
