// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssToken.h"

#include "foundation/Utf8.h"
#include "platform/linux/security/NssHandles.h"
#include "platform/linux/security/X509Values.h"

#include <algorithm>
#include <array>
#include <prerror.h>
#include <secerr.h>

namespace platform {

namespace {

std::string lastNssError() {
    const PRErrorCode code = PORT_GetError();
    const char* text = PR_ErrorToString(code, PR_LANGUAGE_I_DEFAULT);
    return text == nullptr || *text == '\0' ? "error " + std::to_string(code) : text;
}

std::string tokenName(PK11SlotInfo* slot) {
    const char* name = PK11_GetTokenName(slot);
    std::string text = utf8Repaired(name == nullptr ? "" : name);
    return text.empty() ? "The token" : text;
}

Bytes bytesOf(const CK_ATTRIBUTE& attribute) {
    const auto* begin = static_cast<const std::uint8_t*>(attribute.pValue);
    return begin == nullptr ? Bytes() : Bytes(begin, begin + attribute.ulValueLen);
}

nss::ObjectListHandle objectsOf(PK11SlotInfo* slot, CK_OBJECT_CLASS objectClass) {
    return nss::ObjectListHandle(PK11_FindGenericObjects(slot, objectClass));
}

/// Empty when the object has none.
Bytes keyIdOf(PK11GenericObject* object) {
    const nss::ArenaHandle arena(PORT_NewArena(DER_DEFAULT_CHUNKSIZE));
    CK_ATTRIBUTE id = {CKA_ID, nullptr, 0};
    if (PK11_ReadRawAttributes(arena.get(), PK11_TypeGeneric, object, &id, 1) != SECSuccess) {
        return {};
    }
    return bytesOf(id);
}

NssCertificate certificateOf(PK11GenericObject* object) {
    const nss::ArenaHandle arena(PORT_NewArena(DER_DEFAULT_CHUNKSIZE));
    std::array<CK_ATTRIBUTE, 2> wanted = {{{CKA_ID, nullptr, 0}, {CKA_VALUE, nullptr, 0}}};
    if (PK11_ReadRawAttributes(arena.get(), PK11_TypeGeneric, object, wanted.data(), wanted.size())
        != SECSuccess) {
        return {};
    }
    return {bytesOf(wanted[1]), bytesOf(wanted[0])};
}

/// All zero when the token is gone.
CK_TOKEN_INFO infoOf(PK11SlotInfo* slot) {
    CK_TOKEN_INFO info{};
    if (PK11_GetTokenInfo(slot, &info) != SECSuccess) {
        return {};
    }
    return info;
}

std::string serialOf(PK11SlotInfo* slot) {
    const CK_TOKEN_INFO info = infoOf(slot);
    return {std::begin(info.serialNumber), std::end(info.serialNumber)};
}

bool isOfAuthority(const NssCertificate& certificate) {
    const auto values = X509Values::parse(certificate.der);
    return values && values->isOfAuthority();
}

/// Those whose key is among `keys`.
std::vector<NssCertificate> withKeys(
    std::vector<NssCertificate> certificates, const std::set<Bytes>& keys, bool areSeen) {
    std::erase_if(certificates,
        [&](const NssCertificate& certificate) { return !keys.contains(certificate.keyId); });
    for (NssCertificate& certificate : certificates) {
        certificate.isKeySeen = areSeen;
    }
    return certificates;
}

} // namespace

struct NssToken::Slot {
    nss::SlotHandle handle;
};

NssToken::NssToken(PK11SlotInfo* slot, PasswordPrompt& prompt)
    : m_slot(new Slot{nss::SlotHandle(PK11_ReferenceSlot(slot))})
    , m_prompt(prompt)
    , m_name(tokenName(slot))
    , m_serial(serialOf(slot)) {
}

NssToken::~NssToken() = default;

bool NssToken::isIn(PK11SlotInfo* slot) const {
    return m_slot->handle.get() == slot && m_name == tokenName(slot) && m_serial == serialOf(slot);
}

bool NssToken::isCard() const {
    return !PK11_IsInternal(m_slot->handle.get());
}

std::tuple<bool, unsigned long, unsigned long> NssToken::place() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    return {!PK11_IsInternalKeySlot(slot), PK11_GetModuleID(slot), PK11_GetSlotID(slot)};
}

bool NssToken::isPresent() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    return PK11_IsPresent(slot) && isIn(slot);
}

bool NssToken::isPrepared() const {
    return !isCard() || (infoOf(m_slot->handle.get()).flags & CKF_TOKEN_INITIALIZED) != 0;
}

bool NssToken::isLocked() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    return PK11_NeedLogin(slot) && !PK11_IsLoggedIn(slot, &m_prompt);
}

void NssToken::lock() {
    if (PK11_NeedLogin(m_slot->handle.get())) {
        PK11_Logout(m_slot->handle.get());
    }
    m_unlockRefused = false;
}

PinState NssToken::pinState() const {
    return nss::pinState(m_slot->handle.get());
}

bool NssToken::unlock() const {
    m_prompt.begin();
    return PK11_Authenticate(m_slot->handle.get(), PR_FALSE, &m_prompt) == SECSuccess;
}

std::string NssToken::whyLocked() const {
    if (!isPresent()) {
        return m_name + " is not there any more.";
    }
    if (pinState() == PinState::locked) {
        return "The PIN of " + m_name + " is locked, because it was wrong too often.";
    }
    switch (m_prompt.outcome()) {
    case PasswordPrompt::Outcome::notAllowed:
        return m_name + " is locked, and its password may not be asked for.";
    case PasswordPrompt::Outcome::cancelled:
        return "The password of " + m_name + " was not given.";
    default:
        return m_name + " could not be unlocked: " + lastNssError();
    }
}

std::string NssToken::whyNotSigned() const {
    const std::string cause = lastNssError(); // before the token is looked at again
    const bool isOfPassword = m_prompt.outcome() == PasswordPrompt::Outcome::cancelled
        || m_prompt.outcome() == PasswordPrompt::Outcome::notAllowed
        || m_prompt.outcome() == PasswordPrompt::Outcome::pinLocked;
    return isOfPassword || !isPresent() ? whyLocked() : m_name + " could not sign: " + cause;
}

std::set<Bytes> NssToken::keyIds(unsigned long keyClass) const {
    std::set<Bytes> ids;
    const nss::ObjectListHandle keys = objectsOf(m_slot->handle.get(), keyClass);
    for (PK11GenericObject* key = keys.get(); key != nullptr;
         key = PK11_GetNextGenericObject(key)) {
        ids.insert(keyIdOf(key));
    }
    ids.erase(Bytes()); // an absent identifier pairs nothing
    return ids;
}

std::vector<NssCertificate> NssToken::allCertificates() const {
    std::vector<NssCertificate> certificates;
    const nss::ObjectListHandle objects = objectsOf(m_slot->handle.get(), CKO_CERTIFICATE);
    for (PK11GenericObject* object = objects.get(); object != nullptr;
         object = PK11_GetNextGenericObject(object)) {
        certificates.push_back(certificateOf(object));
    }
    return certificates;
}

/// Whether keys or certificates may be hidden: a certificate has no public key, or a public key has
/// no certificate. An authority's certificate is there without a key; and a database hides no
/// certificates.
bool NssToken::leavesOpen(
    const std::vector<NssCertificate>& all, const std::set<Bytes>& keys) const {
    std::set<Bytes> ids;
    for (const NssCertificate& certificate : all) {
        ids.insert(certificate.keyId);
        if (!certificate.keyId.empty() && !keys.contains(certificate.keyId)
            && !isOfAuthority(certificate)) {
            return true;
        }
    }
    return isCard()
        && (all.empty() || !std::includes(ids.begin(), ids.end(), keys.begin(), keys.end()));
}

std::vector<NssCertificate> NssToken::shownCertificates() const {
    if (!isPrepared()) {
        return {};
    }
    const std::set<Bytes> keys = keyIds(isLocked() ? CKO_PUBLIC_KEY : CKO_PRIVATE_KEY);
    return keys.empty() ? std::vector<NssCertificate>()
                        : withKeys(allCertificates(), keys, !isLocked());
}

std::vector<NssCertificate> NssToken::userCertificates() {
    if (!isPrepared() || !isLocked()) {
        return shownCertificates();
    }
    const std::vector<NssCertificate> all = allCertificates();
    const std::set<Bytes> keys = keyIds(CKO_PUBLIC_KEY);
    if (m_unlockRefused || !leavesOpen(all, keys)) {
        return withKeys(all, keys, false);
    }
    if (unlock()) {
        return shownCertificates();
    }
    m_unlockRefused = m_prompt.outcome() == PasswordPrompt::Outcome::cancelled;
    return withKeys(all, keys, false);
}

SecSignature NssToken::sign(
    const Bytes& keyId, BytesView digestInfo, std::size_t signatureLength) const {
    PK11SlotInfo* slot = m_slot->handle.get();
    if (!isPresent()) {
        return {std::nullopt, m_name + " is not there any more."};
    }
    if (isLocked() && !unlock()) {
        return {std::nullopt, whyLocked()};
    }
    SECItem id = nss::itemOf(keyId);
    const nss::PrivateKeyHandle key(PK11_FindKeyByKeyID(slot, &id, &m_prompt));
    if (!key) {
        return {std::nullopt,
            isPresent() ? m_name + " holds no private key of this certificate."
                        : m_name + " is not there any more."};
    }
    const SECItem input = nss::itemOf(digestInfo);
    Bytes signature(signatureLength);
    SECItem output = nss::itemOf(signature);
    m_prompt.begin();
    if (PK11_Sign(key.get(), &output, &input) != SECSuccess) {
        return {std::nullopt, whyNotSigned()};
    }
    signature.resize(output.len);
    return {std::move(signature), std::nullopt};
}

} // namespace platform
