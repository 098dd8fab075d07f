// SPDX-License-Identifier: MIT
// The keychain, under the names and with the results of the platform calls it stands for: status
// codes, optional results and property lists, so that the rules of listing and signing stay with
// the program.
#pragma once

#include "platform/Types.h"

#include <optional>
#include <string>

namespace platform {

using OSStatus = std::int32_t;

inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecUserCanceled = -128;
inline constexpr OSStatus errSecAuthFailed = -25293;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecNoDefaultKeychain = -25307;
inline constexpr OSStatus errSecInternalComponent = -2070;

/// Keys and constants of the identity query. The values are those of the platform.
inline constexpr const char* kSecClass = "class";
inline constexpr const char* kSecClassIdentity = "idnt";
inline constexpr const char* kSecReturnData = "r_Data";
inline constexpr const char* kSecReturnRef = "r_Ref";
inline constexpr const char* kSecMatchLimit = "m_Limit";
inline constexpr const char* kSecMatchLimitAll = "m_LimitAll";

/// Keys under which a query's item carries the certificate's DER bytes and the identity.
inline constexpr const char* kSecValueData = "v_Data";
inline constexpr const char* kSecValueRef = "v_Ref";
inline constexpr const char* kSecCertificateData = "certdata";

/// Keys and types of the property dictionaries of `SecCertificateCopyValues`.
inline constexpr const char* kSecPropertyKeyType = "type";
inline constexpr const char* kSecPropertyKeyLabel = "label";
inline constexpr const char* kSecPropertyKeyLocalizedLabel = "localized label";
inline constexpr const char* kSecPropertyKeyValue = "value";
inline constexpr const char* kSecPropertyTypeString = "string";
inline constexpr const char* kSecPropertyTypeSection = "section";
inline constexpr const char* kSecPropertyTypeArray = "array";

/// Keys of the values themselves.
inline constexpr const char* kSecOIDCommonName = "2.5.4.3";
inline constexpr const char* kSecOIDX509V1IssuerName = "2.16.840.1.113741.2.1.1.1.5";
inline constexpr const char* kSecOIDX509V1SubjectName = "2.16.840.1.113741.2.1.1.1.8";

enum class SecKeyOperationType { sign };

enum class SecKeyAlgorithm {
    /// The input is a ready SHA-256 digest.
    kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256,
    /// The input is the message; the platform hashes it with SHA-1.
    kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
};

template <typename T>
struct SecResult {
    OSStatus status = errSecSuccess;
    std::optional<T> value;
};

struct SecSignature {
    std::optional<Bytes> signature;
    /// The readable cause when there is no signature; may be missing.
    std::optional<std::string> error;
};

class Security {
public:
    virtual ~Security() = default;

    virtual OSStatus SecKeychainCopyDefault() = 0;
    /// A list of dictionaries, one for each identity.
    virtual SecResult<PropertyArray> SecItemCopyMatching(const PropertyDictionary& query) = 0;
    virtual SecResult<SecKeyRef> SecIdentityCopyPrivateKey(const SecIdentityRef& identity) = 0;
    virtual SecResult<SecCertificateRef> SecIdentityCopyCertificate(const SecIdentityRef& identity)
        = 0;

    /// The content bytes of the certificate's serialNumber INTEGER (RFC 5280, 4.1.2.2).
    virtual std::optional<Bytes> SecCertificateCopySerialNumber(
        const SecCertificateRef& certificate)
        = 0;
    /// All values, by OID: each a dictionary with "type", "label", "localized label", "value".
    virtual std::optional<PropertyDictionary> SecCertificateCopyValues(
        const SecCertificateRef& certificate)
        = 0;

    virtual bool SecKeyIsAlgorithmSupported(
        const SecKeyRef& key, SecKeyOperationType operation, SecKeyAlgorithm algorithm)
        = 0;
    virtual SecSignature SecKeyCreateSignature(
        const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data)
        = 0;

    /// A sentence for the user about a status, or nothing when there is none.
    virtual std::optional<std::string> SecCopyErrorMessageString(OSStatus status) = 0;

    /// Whether the keychain may ask the user for permission or a password.
    virtual OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) = 0;
};

} // namespace platform
