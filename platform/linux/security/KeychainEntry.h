// SPDX-License-Identifier: MIT
// The keychain's objects: identity, certificate and private key of one entry.
#pragma once

#include "platform/linux/security/NssToken.h"
#include "platform/linux/security/X509Values.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace platform {

/// What identity, certificate and key share. It holds nothing of NSS, so that it may outlive it.
class KeychainEntry {
public:
    KeychainEntry(NssCertificate certificate, std::optional<X509Values> values,
        const std::shared_ptr<NssToken>& token);

    const Bytes& der() const { return m_der; }
    /// Nothing of a certificate that cannot be read.
    const std::optional<X509Values>& values() const { return m_values; }
    bool isKeySeen() const { return m_isKeySeen; }
    const Bytes& keyId() const { return m_keyId; }
    /// Null when the keychain is closed.
    std::shared_ptr<NssToken> token() const { return m_token.lock(); }
    const std::string& tokenName() const { return m_tokenName; }

    /// The subject on one line, for people.
    std::string subject() const;
    /// Read from the certificate at first need.
    const X509Values::PublicKey& publicKey() const;

private:
    Bytes m_der;
    std::optional<X509Values> m_values;
    Bytes m_keyId;
    bool m_isKeySeen;
    std::weak_ptr<NssToken> m_token;
    std::string m_tokenName;
    mutable std::once_flag m_publicKeyRead;
    mutable X509Values::PublicKey m_publicKey;
};

using KeychainEntryRef = std::shared_ptr<const KeychainEntry>;

/// A `SecIdentity`, `SecCertificate` or `SecKey` that stands for an entry.
template <typename Base>
class EntryObject : public Base {
public:
    explicit EntryObject(KeychainEntryRef entry)
        : m_entry(std::move(entry)) { }
    const KeychainEntryRef& entry() const { return m_entry; }

private:
    KeychainEntryRef m_entry;
};

class EntryIdentity final : public EntryObject<SecIdentity> {
public:
    using EntryObject::EntryObject;
    std::string description() const override;
};

class EntryCertificate final : public EntryObject<SecCertificate> {
public:
    using EntryObject::EntryObject;
    std::string description() const override;
};

class EntryKey final : public EntryObject<SecKey> {
public:
    using EntryObject::EntryObject;
    std::string description() const override;
};

/// The entry behind a reference; null for a reference of another keychain.
template <typename Object, typename Ref>
KeychainEntryRef entryOf(const Ref& reference) {
    const auto* object = dynamic_cast<const Object*>(reference.get());
    return object == nullptr ? nullptr : object->entry();
}

} // namespace platform
