// SPDX-License-Identifier: MIT
// One token of NSS: a certificate database or a smart card.
#pragma once

#include "platform/Security.h"
#include "platform/linux/security/PasswordPrompt.h"

#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

struct PK11SlotInfoStr;

namespace platform {

/// A certificate and the identifier (CKA_ID) that it shares with its private key.
struct NssCertificate {
    Bytes der;
    Bytes keyId;
    bool isKeySeen = false; ///< the private key itself, not only the public key that vouches for it
};

class NssToken {
public:
    /// Takes a reference of its own to the slot.
    NssToken(PK11SlotInfoStr* slot, PasswordPrompt& prompt);
    NssToken(const NssToken&) = delete;
    NssToken& operator=(const NssToken&) = delete;
    ~NssToken();

    /// Whether this token, and no other, is in the slot now.
    bool isIn(PK11SlotInfoStr* slot) const;
    const std::string& name() const { return m_name; }
    /// A token of another module than NSS's own, which may take its time.
    bool isCard() const;
    /// Orders tokens: databases before all others, then by module and slot.
    std::tuple<bool, unsigned long, unsigned long> place() const;

    bool isPresent() const;
    /// A token that nobody prepared for use holds nothing.
    bool isPrepared() const;
    bool isLocked() const;
    PinState pinState() const;
    /// Asks for its password anew when it is needed.
    void lock();

    /// The certificates whose private key is here, in the token's own order (a database: the order
    /// in which they were added). While the token is locked its private keys cannot be seen and its
    /// public keys vouch for them. Where public keys and certificates leave open what else there
    /// is, the token is unlocked for this; after a refusal it is not asked for again.
    std::vector<NssCertificate> userCertificates();
    /// What can be told without unlocking.
    std::vector<NssCertificate> shownCertificates() const;
    /// All certificates that show, with a key or not.
    std::vector<NssCertificate> allCertificates() const;

    /// A PKCS #1 v1.5 signature of `signatureLength` bytes over a ready DigestInfo (RFC 8017, 9.2).
    SecSignature sign(const Bytes& keyId, BytesView digestInfo, std::size_t signatureLength) const;

private:
    struct Slot;

    bool unlock() const;
    std::string whyLocked() const;
    std::string whyNotSigned() const;
    std::set<Bytes> keyIds(unsigned long keyClass) const;
    bool leavesOpen(const std::vector<NssCertificate>& all, const std::set<Bytes>& keys) const;

    std::unique_ptr<Slot> m_slot;
    PasswordPrompt& m_prompt;
    std::string m_name;
    std::string m_serial;
    bool m_unlockRefused = false;
};

} // namespace platform
