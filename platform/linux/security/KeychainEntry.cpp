// SPDX-License-Identifier: MIT
#include "platform/linux/security/KeychainEntry.h"

namespace platform {

KeychainEntry::KeychainEntry(
    NssCertificate certificate, X509Values values, const std::shared_ptr<NssToken>& token)
    : m_der(std::move(certificate.der))
    , m_values(std::move(values))
    , m_keyId(std::move(certificate.keyId))
    , m_token(token)
    , m_tokenName(token->name()) {
}

std::string KeychainEntry::subject() const {
    std::string text = m_values.subjectText();
    return text.empty() ? "(no subject)" : text;
}

const X509Values::PublicKey& KeychainEntry::publicKey() const {
    std::call_once(m_publicKeyRead, [this] { m_publicKey = m_values.publicKey(); });
    return m_publicKey;
}

std::string EntryIdentity::description() const {
    return "identity of " + entry()->subject() + " on " + entry()->tokenName();
}

std::string EntryCertificate::description() const {
    return "certificate of " + entry()->subject() + " (serial number "
        + entry()->values().serialText() + ")";
}

std::string EntryKey::description() const {
    const X509Values::PublicKey& key = entry()->publicKey();
    const std::string kind
        = key.algorithm.empty() ? "" : key.algorithm + " " + std::to_string(key.bits) + "-bit ";
    return kind + "private key on " + entry()->tokenName();
}

} // namespace platform
