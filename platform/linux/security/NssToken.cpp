// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssToken.h"

#include "foundation/Utf8.h"
#include "platform/linux/security/NssHandles.h"
#include "platform/linux/security/PasswordPrompt.h"

#include <array>
#include <prerror.h>
#include <secerr.h>
#include <set>

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

} // namespace

struct NssToken::Slot {
    nss::SlotHandle handle;
};

NssToken::NssToken(PK11SlotInfo* slot, PasswordPrompt& prompt)
    : m_slot(new Slot{nss::SlotHandle(PK11_ReferenceSlot(slot))})
    , m_prompt(prompt)
    , m_name(tokenName(slot)) {
}

NssToken::~NssToken() = default;

bool NssToken::isIn(const PK11SlotInfo* slot) const {
    return m_slot->handle.get() == slot;
}

std::tuple<bool, unsigned long, unsigned long> NssToken::place() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    return {!PK11_IsInternalKeySlot(slot), PK11_GetModuleID(slot), PK11_GetSlotID(slot)};
}

bool NssToken::isLocked() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    return PK11_NeedLogin(slot) && !PK11_IsLoggedIn(slot, &m_prompt);
}

bool NssToken::unlock() const {
    m_prompt.begin();
    return PK11_Authenticate(m_slot->handle.get(), PR_FALSE, &m_prompt) == SECSuccess;
}

std::string NssToken::whyLocked() const {
    switch (m_prompt.outcome()) {
    case PasswordPrompt::Outcome::notAllowed:
        return m_name + " is locked, and its password may not be asked for.";
    case PasswordPrompt::Outcome::cancelled:
        return "The password of " + m_name + " was not given.";
    default:
        return m_name + " could not be unlocked: " + lastNssError();
    }
}

std::vector<NssCertificate> NssToken::certificatesWithKeys(unsigned long keyClass) const {
    PK11SlotInfo* slot = m_slot->handle.get();
    std::set<Bytes> keyIds;
    const nss::ObjectListHandle keys = objectsOf(slot, keyClass);
    for (PK11GenericObject* key = keys.get(); key != nullptr;
         key = PK11_GetNextGenericObject(key)) {
        keyIds.insert(keyIdOf(key));
    }
    keyIds.erase(Bytes()); // an absent identifier pairs nothing

    std::vector<NssCertificate> certificates;
    if (keyIds.empty()) {
        return certificates;
    }
    const nss::ObjectListHandle objects = objectsOf(slot, CKO_CERTIFICATE);
    for (PK11GenericObject* object = objects.get(); object != nullptr;
         object = PK11_GetNextGenericObject(object)) {
        NssCertificate certificate = certificateOf(object);
        if (keyIds.contains(certificate.keyId)) {
            certificates.push_back(std::move(certificate));
        }
    }
    return certificates;
}

bool NssToken::mayHideIdentities() const {
    PK11SlotInfo* slot = m_slot->handle.get();
    // Of a token that is not "friendly" nothing at all may show before it is unlocked.
    return !PK11_IsFriendly(slot) || objectsOf(slot, CKO_CERTIFICATE) != nullptr;
}

std::vector<NssCertificate> NssToken::userCertificates() {
    if (!isLocked()) {
        return certificatesWithKeys(CKO_PRIVATE_KEY);
    }
    std::vector<NssCertificate> certificates = certificatesWithKeys(CKO_PUBLIC_KEY);
    if (!certificates.empty() || m_unlockRefused || !mayHideIdentities()) {
        return certificates;
    }
    if (!unlock()) {
        m_unlockRefused = m_prompt.outcome() == PasswordPrompt::Outcome::cancelled;
        return {};
    }
    return certificatesWithKeys(CKO_PRIVATE_KEY);
}

SecSignature NssToken::sign(
    const Bytes& keyId, BytesView digestInfo, std::size_t signatureLength) const {
    PK11SlotInfo* slot = m_slot->handle.get();
    if (!PK11_IsPresent(slot)) {
        return {std::nullopt, m_name + " is not there any more."};
    }
    if (isLocked() && !unlock()) {
        return {std::nullopt, whyLocked()};
    }
    SECItem id = nss::itemOf(keyId);
    const nss::PrivateKeyHandle key(PK11_FindKeyByKeyID(slot, &id, &m_prompt));
    if (!key) {
        return {std::nullopt, m_name + " holds no private key of this certificate."};
    }
    const SECItem input = nss::itemOf(digestInfo);
    Bytes signature(signatureLength);
    SECItem output = nss::itemOf(signature);
    m_prompt.begin();
    if (PK11_Sign(key.get(), &output, &input) != SECSuccess) {
        return {std::nullopt,
            m_prompt.outcome() == PasswordPrompt::Outcome::cancelled
                    || m_prompt.outcome() == PasswordPrompt::Outcome::notAllowed
                ? whyLocked()
                : m_name + " could not sign: " + lastNssError()};
    }
    signature.resize(output.len);
    return {std::move(signature), std::nullopt};
}

} // namespace platform
