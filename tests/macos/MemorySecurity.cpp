// SPDX-License-Identifier: MIT
#include "tests/macos/MemorySecurity.h"

#include <cstdlib>
#include <memory>

namespace memory {

namespace {

/// A key, certificate or identity: each knows the identity's script.
class KeychainItem final : public Object {
public:
    KeychainItem(
        CFTypeID itemType, std::string kind, std::shared_ptr<const IdentityScript> itemScript)
        : Object(itemType)
        , script(std::move(itemScript))
        , m_kind(std::move(kind)) { }
    std::string description() const override { return "<" + m_kind + " " + script->name + ">"; }
    const std::shared_ptr<const IdentityScript> script;

private:
    const std::string m_kind;
};

class KeychainFile final : public Object {
public:
    KeychainFile()
        : Object(newTypeID()) { }
    std::string description() const override { return "keychain"; }
};

CFTypeID identityTypeID() {
    static const CFTypeID id = newTypeID();
    return id;
}

/// The item behind a reference of this type; anything else would crash on the platform.
const KeychainItem& itemOf(CFTypeRef reference, CFTypeID type) {
    const auto* item = dynamic_cast<const KeychainItem*>(objectOf(reference));
    if (item == nullptr || item->type != type) {
        std::abort();
    }
    return *item;
}

CFTypeID keyTypeID() {
    static const CFTypeID id = newTypeID();
    return id;
}

CFTypeID certificateTypeID() {
    static const CFTypeID id = newTypeID();
    return id;
}

template <typename Ref>
Ref makeItem(CFTypeID type, const std::string& kind, std::shared_ptr<const IdentityScript> script) {
    return reinterpret_cast<Ref>(
        static_cast<Object*>(new KeychainItem(type, kind, std::move(script))));
}

std::string contentOf(CFDataRef data) {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
        static_cast<std::size_t>(CFDataGetLength(data))};
}

} // namespace

Keychain& keychain() {
    static Keychain theKeychain;
    return theKeychain;
}

SecIdentityRef makeIdentity(IdentityScript script) {
    return makeItem<SecIdentityRef>(
        identityTypeID(), "identity", std::make_shared<const IdentityScript>(std::move(script)));
}

} // namespace memory

using namespace memory; // NOLINT: the platform's functions stand outside

const CFStringRef kSecClass = makeConstant(u"class");
const CFStringRef kSecClassIdentity = makeConstant(u"idnt");
const CFStringRef kSecReturnData = makeConstant(u"r_Data");
const CFStringRef kSecReturnRef = makeConstant(u"r_Ref");
const CFStringRef kSecMatchLimit = makeConstant(u"m_Limit");
const CFStringRef kSecMatchLimitAll = makeConstant(u"m_LimitAll");
const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256
    = makeConstant(u"algid:sign:RSA:digest-PKCS1v15:SHA256");
const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1
    = makeConstant(u"algid:sign:RSA:message-PKCS1v15:SHA1");

OSStatus SecKeychainCopyDefault(SecKeychainRef* result) {
    if (keychain().defaultStatus == errSecSuccess) {
        *result = reinterpret_cast<SecKeychainRef>(static_cast<Object*>(new KeychainFile));
    }
    return keychain().defaultStatus;
}

OSStatus SecKeychainSetUserInteractionAllowed(Boolean state) {
    keychain().interactions.push_back(state != 0);
    return keychain().interactionStatus;
}

OSStatus SecKeychainLock(SecKeychainRef keychainToLock) {
    keychain().locks += keychainToLock == nullptr ? 1 : 0;
    return errSecSuccess;
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
    keychain().queries.push_back(entriesOf(query));
    if (keychain().queryStatus == errSecSuccess) {
        *result = keychain().matching();
    }
    return keychain().queryStatus;
}

CFTypeID SecIdentityGetTypeID() {
    return identityTypeID();
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identityRef, SecKeyRef* privateKeyRef) {
    const KeychainItem& identity = itemOf(identityRef, identityTypeID());
    if (identity.script->keyStatus == errSecSuccess) {
        *privateKeyRef = makeItem<SecKeyRef>(keyTypeID(), "key", identity.script);
    }
    return identity.script->keyStatus;
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identityRef, SecCertificateRef* certificateRef) {
    const KeychainItem& identity = itemOf(identityRef, identityTypeID());
    if (identity.script->certificateStatus == errSecSuccess) {
        *certificateRef
            = makeItem<SecCertificateRef>(certificateTypeID(), "certificate", identity.script);
    }
    return identity.script->certificateStatus;
}

CFDataRef SecCertificateCopySerialNumber(SecCertificateRef certificate, CFErrorRef* error) {
    const KeychainItem& item = itemOf(certificate, certificateTypeID());
    if (!item.script->serial && error != nullptr) {
        *error = makeError(u"no serial number");
    }
    return item.script->serial ? makeData(*item.script->serial) : nullptr;
}

CFDictionaryRef SecCertificateCopyValues(
    SecCertificateRef certificate, CFArrayRef keys, CFErrorRef* error) {
    const CFDictionaryRef values = itemOf(certificate, certificateTypeID()).script->values();
    if (values == nullptr && error != nullptr) {
        *error = makeError(u"not parsed");
    }
    return keys == nullptr ? values : nullptr; // for all keys, or not at all
}

Boolean SecKeyIsAlgorithmSupported(
    SecKeyRef key, SecKeyOperationType operation, SecKeyAlgorithm algorithm) {
    keychain().algorithmRequests.push_back(
        {itemOf(key, keyTypeID()).script->name, operation, algorithm});
    return keychain().isAlgorithmSupported;
}

CFDataRef SecKeyCreateSignature(
    SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef dataToSign, CFErrorRef* error) {
    const std::string data = contentOf(dataToSign);
    keychain().signatureRequests.push_back(
        {itemOf(key, keyTypeID()).script->name, algorithm, data});
    const CFDataRef signature = keychain().signature(data);
    if (signature == nullptr && error != nullptr && keychain().signatureError) {
        *error = makeError(*keychain().signatureError, keychain().signatureErrorCode);
    }
    return signature;
}

CFStringRef SecCopyErrorMessageString(OSStatus status, void* reserved) {
    const auto found = keychain().messages.find(status);
    return reserved != nullptr || found == keychain().messages.end() ? nullptr
                                                                     : makeString(found->second);
}
