// SPDX-License-Identifier: MIT
#include "platform/linux/security/KeychainEntry.h"

namespace platform {

KeychainEntry::KeychainEntry(NssCertificate certificate, std::optional<X509Values> values,
    const std::shared_ptr<NssToken>& token)
    : m_der(std::move(certificate.der))
    , m_values(std::move(values))
    , m_keyId(std::move(certificate.keyId))
    , m_isKeySeen(certificate.isKeySeen)
    , m_token(token)
    , m_tokenName(token->name()) {
}

std::string KeychainEntry::subject() const {
    if (!m_values) {
        return "(unreadable)";
    }
    std::string text = m_values->subjectText();
    return text.empty() ? "(no subject)" : text;
}

const X509Values::PublicKey& KeychainEntry::publicKey() const {
    std::call_once(m_publicKeyRead, [this] {
        if (m_values) {
            m_publicKey = m_values->publicKey();
        }
    });
    return m_publicKey;
}

std::string EntryIdentity::description() const {
    return "identity of " + entry()->subject() + " on " + entry()->tokenName();
}

std::string EntryCertificate::description() const {
    const auto& values = entry()->values();
    return "certificate of " + entry()->subject()
        + (values ? " (serial number " + values->serialText() + ")" : "");
}

std::string EntryKey::description() const {
    const X509Values::PublicKey& key = entry()->publicKey();
    const std::string kind
        = key.algorithm.empty() ? "" : key.algorithm + " " + std::to_string(key.bits) + "-bit ";
    return kind + "private key on " + entry()->tokenName();
}

} // namespace platform
