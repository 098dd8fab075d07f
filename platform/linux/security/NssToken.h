// SPDX-License-Identifier: MIT
// One token of NSS: the certificate database itself or a smart card.
#pragma once

#include "platform/Security.h"

#include <memory>
#include <string>
#include <tuple>
#include <vector>

struct PK11SlotInfoStr;

namespace platform {

class PasswordPrompt;

/// A certificate and the identifier (CKA_ID) that it shares with its private key.
struct NssCertificate {
    Bytes der;
    Bytes keyId;
};

class NssToken {
public:
    /// Takes a reference of its own to the slot.
    NssToken(PK11SlotInfoStr* slot, PasswordPrompt& prompt);
    NssToken(const NssToken&) = delete;
    NssToken& operator=(const NssToken&) = delete;
    ~NssToken();

    bool isIn(const PK11SlotInfoStr* slot) const;
    const std::string& name() const { return m_name; }
    /// Orders tokens: the database before all others, then by module and slot.
    std::tuple<bool, unsigned long, unsigned long> place() const;

    /// The certificates whose private key is here, in the token's own order (a database: the order
    /// in which they were added). While the token is locked its private keys cannot be seen and its
    /// public keys vouch for them; only a token that shows no such pair though it may hide one is
    /// unlocked for this, and after a refusal it is not asked for again.
    std::vector<NssCertificate> userCertificates();

    /// A PKCS #1 v1.5 signature of `signatureLength` bytes over a ready DigestInfo (RFC 8017, 9.2).
    SecSignature sign(const Bytes& keyId, BytesView digestInfo, std::size_t signatureLength) const;

private:
    struct Slot;

    bool isLocked() const;
    bool unlock() const;
    std::string whyLocked() const;
    std::vector<NssCertificate> certificatesWithKeys(unsigned long keyClass) const;
    bool mayHideIdentities() const;

    std::unique_ptr<Slot> m_slot;
    PasswordPrompt& m_prompt;
    std::string m_name;
    bool m_unlockRefused = false;
};

} // namespace platform
