// SPDX-License-Identifier: MIT
#include "platform/macos/MacPlatform.h"
#include "platform/macos/PropertyList.h"

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
    Owned<Ref> owned(copied);
    return {
        status, owned ? std::optional(std::make_shared<Object>(std::move(owned))) : std::nullopt};
}

/// What a Copy or Create function returned, as the program's own; nothing for null.
template <typename Ref, typename Convert>
auto valueOf(Ref copied, Convert convert) {
    const Owned<Ref> owned(copied);
    return owned ? std::optional(convert(owned.get())) : std::nullopt;
}

class KeychainSecurity final : public SessionSecurity {
public:
    using SessionSecurity::SessionSecurity;

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
        return {status, valueOf(static_cast<CFArrayRef>(items), arrayOf)};
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
        const auto object = objectOf<Certificate>(certificate);
        return valueOf(::SecCertificateCopySerialNumber(object, nullptr), bytesOfData);
    }

    std::optional<PropertyDictionary> SecCertificateCopyValues(
        const SecCertificateRef& certificate) override {
        const auto object = objectOf<Certificate>(certificate);
        return valueOf(::SecCertificateCopyValues(object, nullptr, nullptr), dictionaryOf);
    }

    bool SecKeyIsAlgorithmSupported(
        const SecKeyRef& key, SecKeyOperationType, SecKeyAlgorithm algorithm) override {
        return ::SecKeyIsAlgorithmSupported(
            objectOf<Key>(key), kSecKeyOperationTypeSign, constantOf(algorithm));
    }

    Signed sign(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) override {
        const Owned<CFDataRef> input(
            CFDataCreate(kCFAllocatorDefault, data.data(), static_cast<CFIndex>(data.size())));
        CFErrorRef cause = nullptr;
        auto signature = valueOf(
            ::SecKeyCreateSignature(objectOf<Key>(key), constantOf(algorithm), input.get(), &cause),
            bytesOfData);
        const CFIndex code = cause == nullptr ? 0 : CFErrorGetCode(cause);
        return {{std::move(signature), valueOf(cause, descriptionOf)}, code};
    }

    std::optional<std::string> SecCopyErrorMessageString(OSStatus status) override {
        return valueOf(::SecCopyErrorMessageString(status, nullptr), textOf);
    }

    OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) override {
        return ::SecKeychainSetUserInteractionAllowed(allowed);
    }

    void lock() override { ::SecKeychainLock(nullptr); }
};

} // namespace

std::unique_ptr<SessionSecurity> makeMacSecurity(
    UserInterface& userInterface, std::function<void()> endSession) {
    return std::make_unique<KeychainSecurity>(userInterface, std::move(endSession));
}

} // namespace platform
