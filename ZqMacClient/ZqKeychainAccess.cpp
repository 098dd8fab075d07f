// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqKeychainAccess.h"

#include "ZqMacClient/DebugDescription.h"
#include "ZqMacClient/ZqError.h"
#include "foundation/Base64.h"
#include "foundation/Utf8.h"
#include "platform/Platform.h"

#include <limits>

using namespace platform; // NOLINT: this class speaks the keychain's vocabulary

namespace {

constexpr std::string_view hiddenNamePrefix = "com.apple.";

Security& security() {
    return current().security();
}

template <typename T>
const T& require(const PropertyValue* value, std::string_view what) {
    const T* typed = value == nullptr ? nullptr : value->as<T>();
    if (typed == nullptr) {
        fatalError(what);
    }
    return *typed;
}

BytesView withinDigestRange(BytesView data) {
    if (data.size() > std::numeric_limits<std::uint32_t>::max()) {
        fatalError("data to hash is longer than 32 bits can count");
    }
    return data;
}

} // namespace

std::vector<ZqCertificate> ZqKeychainAccess::listCertificates(bool withRawValues) const {
    std::vector<ZqCertificate> certificates;
    if (const OSStatus status = security().SecKeychainCopyDefault(); status != errSecSuccess) {
        fail("Error opening the default keychain", status);
    }
    const PropertyDictionary query{
        {kSecClass, kSecClassIdentity},
        {kSecReturnData, true},
        {kSecReturnRef, true},
        {kSecMatchLimit, kSecMatchLimitAll},
    };
    const SecResult<PropertyArray> matching = security().SecItemCopyMatching(query);
    if (matching.status != errSecSuccess) {
        fail("Error listing certificates 1", matching.status);
    }
    if (!matching.value) {
        return certificates;
    }
    for (const PropertyValue& item : *matching.value) {
        ZqCertificate certificate = certificateOfItem(*matching.value, item, withRawValues);
        if (!certificate.name) {
            fatalError("a certificate has neither a common name nor a subject");
        }
        if (!certificate.name->starts_with(hiddenNamePrefix)) {
            certificates.push_back(std::move(certificate));
        }
    }
    return certificates;
}

ZqCertificate ZqKeychainAccess::certificateOfItem(
    const PropertyArray& list, const PropertyValue& item, bool withRawValues) const {
    const auto& entries
        = require<PropertyDictionary>(&item, "an item of the keychain is not a dictionary");
    const auto bytesUnder = [&](std::string_view key) {
        const PropertyValue* value = entries.find(key);
        return value == nullptr ? nullptr : value->as<Bytes>();
    };
    const Bytes* der = bytesUnder(kSecValueData);
    der = der == nullptr ? bytesUnder(kSecCertificateData) : der;
    if (der == nullptr) {
        ZqError("Error listing certificates 2",
            "Keychain services did not return v_Data This is the console output: "
                + platform::description(list))
            .showAndExit();
    }
    const PropertyValue* reference = entries.find(kSecValueRef);
    const auto* identity = reference == nullptr ? nullptr : reference->as<SecIdentityRef>();
    if (identity == nullptr || *identity == nullptr) {
        ZqError("Error listing certificates 3", "Keychain services did not return v_Ref")
            .showAndExit();
    }
    const SecResult<SecKeyRef> key = security().SecIdentityCopyPrivateKey(*identity);
    SecResult<SecCertificateRef> certificateRef{key.status, std::nullopt};
    if (key.status == errSecSuccess) {
        certificateRef = security().SecIdentityCopyCertificate(*identity);
    }
    if (certificateRef.status != errSecSuccess) {
        fail("Error obtaining identity certificate and key references", certificateRef.status);
    }

    ZqCertificate certificate;
    certificate.certificateRef = certificateRef.value.value_or(nullptr);
    certificate.privateKeyRef = key.value.value_or(nullptr);
    // The misspelling belongs to the log's vocabulary.
    NSLog("Parsing certificiate ", debugDescription(certificate.certificateRef));
    if (certificate.certificateRef == nullptr) {
        fatalError("an identity has no certificate");
    }
    if (withRawValues) {
        certificate.certificate = base64Encoded(*der);
    }
    certificate.certificateDigest = base64Encoded(sha1(*der));
    readValues(certificate);
    return certificate;
}

void ZqKeychainAccess::readValues(ZqCertificate& certificate) const {
    const auto serial = security().SecCertificateCopySerialNumber(certificate.certificateRef);
    if (!serial) {
        ZqError("Error listing certificates 4", "Error parsing certificate serial number")
            .showAndExit();
    }
    // Not hex, whatever the field's name: the bytes are read as text.
    certificate.serialHex = utf8Repaired(std::string(serial->begin(), serial->end()));

    const auto values = security().SecCertificateCopyValues(certificate.certificateRef);
    if (!values) {
        ZqError("Error listing certificates 5", "Error parsing certificate").showAndExit();
    }
    for (const auto& entry : values->entries()) {
        const auto& oid = entry.first;
        const auto valueOfProperty = [&property = entry.second] {
            return require<PropertyDictionary>(&property, "a certificate value is no dictionary")
                .find(kSecPropertyKeyValue);
        };
        if (oid == kSecOIDCommonName) {
            const auto& names
                = require<PropertyArray>(valueOfProperty(), "a common name is no list of texts");
            const PropertyValue* first = names.empty() ? nullptr : &names.front();
            certificate.alias = require<std::string>(first, "a common name holds no text");
            certificate.name = certificate.alias;
        } else if (oid == kSecOIDX509V1IssuerName) {
            certificate.issuerDn = getDn(valueOfProperty());
        } else if (oid == kSecOIDX509V1SubjectName) {
            certificate.subjectDn = getDn(valueOfProperty());
        }
    }
    if (!certificate.name) {
        certificate.name = certificate.subjectDn;
        certificate.alias = certificate.subjectDn;
    }
}

std::string ZqKeychainAccess::getDn(const PropertyValue* properties) const {
    std::string text;
    const auto append = [&text](const std::string& part) {
        text += text.empty() ? "" : ", ";
        text += part;
    };
    for (const PropertyValue& element :
        require<PropertyArray>(properties, "a distinguished name is not a list")) {
        const auto& property = require<PropertyDictionary>(
            &element, "a part of a distinguished name is no dictionary");
        const auto& type = require<std::string>(
            property.find(kSecPropertyKeyType), "a part of a distinguished name has no type");
        const PropertyValue* value = property.find(kSecPropertyKeyValue);
        if (type == kSecPropertyTypeString) {
            append(require<std::string>(value, "a part of a distinguished name has no text"));
        } else if (type == kSecPropertyTypeSection) {
            append(getDn(value));
        }
    }
    return text;
}

std::optional<Bytes> ZqKeychainAccess::signData(std::optional<BytesView> digestValue,
    const SecKeyRef& privateKey, const std::optional<std::string>& signatureAlgorithm) const {
    // One mode takes a digest, the other a message: the asymmetry is part of the protocol.
    const SecKeyAlgorithm algorithm = signatureAlgorithm == "SHA256withRSA"
        ? SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256
        : SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;
    if (privateKey == nullptr) {
        fatalError("there is no private key to sign with");
    }
    if (!security().SecKeyIsAlgorithmSupported(privateKey, SecKeyOperationType::sign, algorithm)) {
        current().system().print("Unsupported algorithm");
        return std::nullopt;
    }
    if (!digestValue) {
        fatalError("there is nothing to sign");
    }
    SecSignature result = security().SecKeyCreateSignature(privateKey, algorithm, *digestValue);
    if (!result.signature) {
        current().system().print("Error creating signature: "
            + (result.error ? "Optional(" + *result.error + ")" : std::string("nil")));
    }
    return std::move(result.signature);
}

std::array<std::uint8_t, 20> ZqKeychainAccess::sha1(BytesView data) const {
    return current().system().CC_SHA1(withinDigestRange(data));
}

std::array<std::uint8_t, 32> ZqKeychainAccess::sha256(BytesView data) const {
    return current().system().CC_SHA256(withinDigestRange(data));
}

std::optional<std::string> ZqKeychainAccess::getErrorMessage(OSStatus status) const {
    return security().SecCopyErrorMessageString(status);
}

void ZqKeychainAccess::fail(const std::string& message, OSStatus status) const {
    ZqError(message, getErrorMessage(status).value_or(std::string())).showAndExit();
}
