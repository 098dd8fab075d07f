// SPDX-License-Identifier: MIT
// The Security framework, as far as it is used.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __clang__
#pragma clang assume_nonnull begin
#endif

extern "C" {

typedef struct QUILLET_BRIDGED(id) __SecKeychain* SecKeychainRef;
typedef struct QUILLET_BRIDGED(id) __SecIdentity* SecIdentityRef;
typedef struct QUILLET_BRIDGED(id) __SecCertificate* SecCertificateRef;
typedef struct QUILLET_BRIDGED(id) __SecKey* SecKeyRef;
using SecKeyAlgorithm = CFStringRef;
enum SecKeyOperationType : CFIndex { kSecKeyOperationTypeSign = 0 };

enum : OSStatus {
    errSecSuccess = 0,
    errSecParam = -50,
};

extern const CFStringRef kSecClass;
extern const CFStringRef kSecClassIdentity;
extern const CFStringRef kSecReturnData;
extern const CFStringRef kSecReturnRef;
extern const CFStringRef kSecMatchLimit;
extern const CFStringRef kSecMatchLimitAll;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;

OSStatus SecKeychainCopyDefault(
    SecKeychainRef QUILLET_NULLABLE* QUILLET_NONNULL QUILLET_RETAINED keychain) QUILLET_DEPRECATED;
OSStatus SecKeychainSetUserInteractionAllowed(Boolean state) QUILLET_DEPRECATED;
OSStatus SecKeychainLock(SecKeychainRef QUILLET_NULLABLE keychain) QUILLET_DEPRECATED;
OSStatus SecItemCopyMatching(
    CFDictionaryRef query, CFTypeRef QUILLET_NULLABLE* QUILLET_NULLABLE QUILLET_RETAINED result);

CFTypeID SecIdentityGetTypeID(void);
OSStatus SecIdentityCopyCertificate(SecIdentityRef identityRef,
    SecCertificateRef QUILLET_NULLABLE* QUILLET_NONNULL QUILLET_RETAINED certificateRef);
OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identityRef,
    SecKeyRef QUILLET_NULLABLE* QUILLET_NONNULL QUILLET_RETAINED privateKeyRef);

CFDataRef QUILLET_NULLABLE SecCertificateCopySerialNumber(SecCertificateRef certificate,
    CFErrorRef QUILLET_NULLABLE* QUILLET_NULLABLE error) QUILLET_DEPRECATED;
CFDictionaryRef QUILLET_NULLABLE SecCertificateCopyValues(SecCertificateRef certificate,
    CFArrayRef QUILLET_NULLABLE keys, CFErrorRef QUILLET_NULLABLE* QUILLET_NULLABLE error);

Boolean SecKeyIsAlgorithmSupported(
    SecKeyRef key, SecKeyOperationType operation, SecKeyAlgorithm algorithm);
CFDataRef QUILLET_NULLABLE SecKeyCreateSignature(SecKeyRef key, SecKeyAlgorithm algorithm,
    CFDataRef dataToSign, CFErrorRef QUILLET_NULLABLE* QUILLET_NULLABLE error);

CFStringRef QUILLET_NULLABLE SecCopyErrorMessageString(
    OSStatus status, void* QUILLET_NULLABLE reserved);

} // extern "C"

#ifdef __clang__
#pragma clang assume_nonnull end
#endif
