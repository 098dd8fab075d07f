// SPDX-License-Identifier: MIT
#include "platform/macos/MacPlatform.h"
#include "platform/macos/PropertyList.h"
#include "platform/shared/RefusedTokens.h"

#include <Security/Security.h>
#include <map>
#include <vector>

// The file-based keychain is deprecated without a successor that holds a user's identities: there
// is no other way to the default keychain, to its dialogues, and to a serial number in this form.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace platform {

namespace {

using Certificate = KeychainObject<SecCertificate, ::SecCertificateRef>;
using Key = KeychainObject<SecKey, ::SecKeyRef>;
using Identity = KeychainObject<SecIdentity, ::SecIdentityRef>;

/// The platform's own object for a key or value of a query, borrowed; null when there is none.
CFTypeRef constantOf(const PropertyValue& value) {
    if (const bool* flag = value.as<bool>()) {
        return *flag ? kCFBooleanTrue : kCFBooleanFalse;
    }
    static const std::map<std::string, CFStringRef> constants{{kSecClass, ::kSecClass},
        {kSecClassIdentity, ::kSecClassIdentity}, {kSecReturnData, ::kSecReturnData},
        {kSecReturnRef, ::kSecReturnRef}, {kSecMatchLimit, ::kSecMatchLimit},
        {kSecMatchLimitAll, ::kSecMatchLimitAll}};
    const auto* text = value.as<std::string>();
    const auto found = text == nullptr ? constants.end() : constants.find(*text);
    return found == constants.end() ? nullptr : found->second;
}

/// The query with its entries in their order; null when one of them is not known.
Owned<CFDictionaryRef> platformQuery(const PropertyDictionary& query) {
    std::vector<const void*> keys;
    std::vector<const void*> values;
    for (const auto& [key, value] : query.entries()) {
        keys.push_back(constantOf(key));
        values.push_back(constantOf(value));
        if (keys.back() == nullptr || values.back() == nullptr) {
            return {};
        }
    }
    return Owned<CFDictionaryRef>(CFDictionaryCreate(kCFAllocatorDefault, keys.data(),
        values.data(), static_cast<CFIndex>(keys.size()), &kCFTypeDictionaryKeyCallBacks,
        &kCFTypeDictionaryValueCallBacks));
}

::SecKeyAlgorithm constantOf(SecKeyAlgorithm algorithm) {
    return algorithm == SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256
        ? ::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256
        : ::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;
}

/// The platform's object behind a reference, borrowed. There are none but this keychain's.
template <typename Object, typename Ref>
auto objectOf(const Ref& reference) {
    return dynamic_cast<const Object&>(*reference).get();
}

/// What `copy` copies of `source`, under its status; no value when there is none.
template <typename Object, typename Result, typename Source, typename Ref>
SecResult<Result> copyOf(Source source, OSStatus (*copy)(Source, Ref*)) {
    Ref copied = nullptr;
    const OSStatus status = copy(source, &copied);
    if (copied == nullptr) {
        return {status, std::nullopt};
    }
    return {status, std::make_shared<Object>(Owned<Ref>(copied))};
}

/// What the keychain answers when its question was cancelled or denied: CSSMERR_CSP_USER_CANCELED
/// and CSSMERR_CSP_OPERATION_AUTH_DENIED for keys of a file.
constexpr CFIndex keyUserCanceled = -2147415839;
constexpr CFIndex keyAccessDenied = -2147416032;

bool isRefusal(CFErrorRef error) {
    const CFIndex code = error == nullptr ? 0 : CFErrorGetCode(error);
    return code == errSecUserCanceled || code == keyUserCanceled || code == keyAccessDenied;
}

class KeychainSecurity final : public MacSecurity {
public:
    KeychainSecurity(UserInterface& userInterface, std::function<void()> endSession)
        : m_refused(userInterface) {
        m_refused.setEnd(std::move(endSession));
    }

private:
    OSStatus SecKeychainCopyDefault() override {
        SecKeychainRef keychain = nullptr;
        const OSStatus status = ::SecKeychainCopyDefault(&keychain);
        const Owned<SecKeychainRef> owned(keychain);
        return status;
    }

    SecResult<PropertyArray> SecItemCopyMatching(const PropertyDictionary& query) override {
        const Owned<CFDictionaryRef> dictionary = platformQuery(query);
        if (!dictionary) {
            return {errSecParam, std::nullopt};
        }
        CFTypeRef items = nullptr;
        const OSStatus status = ::SecItemCopyMatching(dictionary.get(), &items);
        const Owned<CFTypeRef> found(items);
        return {
            status, found ? std::optional(arrayOf(static_cast<CFArrayRef>(items))) : std::nullopt};
    }

    SecResult<SecKeyRef> SecIdentityCopyPrivateKey(const SecIdentityRef& identity) override {
        return copyOf<Key, SecKeyRef>(objectOf<Identity>(identity), ::SecIdentityCopyPrivateKey);
    }

    SecResult<SecCertificateRef> SecIdentityCopyCertificate(
        const SecIdentityRef& identity) override {
        return copyOf<Certificate, SecCertificateRef>(
            objectOf<Identity>(identity), ::SecIdentityCopyCertificate);
    }

    std::optional<Bytes> SecCertificateCopySerialNumber(
        const SecCertificateRef& certificate) override {
        const Owned<CFDataRef> serial(
            ::SecCertificateCopySerialNumber(objectOf<Certificate>(certificate), nullptr));
        return serial ? std::optional(bytesOfData(serial.get())) : std::nullopt;
    }

    std::optional<PropertyDictionary> SecCertificateCopyValues(
        const SecCertificateRef& certificate) override {
        const Owned<CFDictionaryRef> values(
            ::SecCertificateCopyValues(objectOf<Certificate>(certificate), nullptr, nullptr));
        return values ? std::optional(dictionaryOf(values.get())) : std::nullopt;
    }

    bool SecKeyIsAlgorithmSupported(
        const SecKeyRef& key, SecKeyOperationType, SecKeyAlgorithm algorithm) override {
        return ::SecKeyIsAlgorithmSupported(
            objectOf<Key>(key), kSecKeyOperationTypeSign, constantOf(algorithm));
    }

    SecSignature SecKeyCreateSignature(
        const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) override {
        if (m_refused.contains(keychainName)) {
            return {std::nullopt, "The keychain's question was refused in this session."};
        }
        const Owned<CFDataRef> input(
            CFDataCreate(kCFAllocatorDefault, data.data(), static_cast<CFIndex>(data.size())));
        CFErrorRef cause = nullptr;
        const Owned<CFDataRef> signature(::SecKeyCreateSignature(
            objectOf<Key>(key), constantOf(algorithm), input.get(), &cause));
        const Owned<CFErrorRef> error(cause);
        if (signature) {
            return {bytesOfData(signature.get()), std::nullopt};
        }
        if (isRefusal(error.get())) {
            m_refused.add(keychainName);
        }
        return {std::nullopt, error ? std::optional(descriptionOf(error.get())) : std::nullopt};
    }

    std::optional<std::string> SecCopyErrorMessageString(OSStatus status) override {
        const Owned<CFStringRef> text(::SecCopyErrorMessageString(status, nullptr));
        return text ? std::optional(textOf(text.get())) : std::nullopt;
    }

    OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) override {
        return ::SecKeychainSetUserInteractionAllowed(allowed);
    }

    void beginSession() override { m_refused.beginSession(); }
    void lock() override { ::SecKeychainLock(nullptr); }

    static constexpr const char* keychainName = "keychain";
    RefusedTokens m_refused;
};

} // namespace

std::unique_ptr<MacSecurity> makeMacSecurity(
    UserInterface& userInterface, std::function<void()> endSession) {
    return std::make_unique<KeychainSecurity>(userInterface, std::move(endSession));
}

} // namespace platform
