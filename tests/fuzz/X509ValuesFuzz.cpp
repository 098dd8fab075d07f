// SPDX-License-Identifier: MIT
// The values of a certificate, compared with OpenSSL's where both can read it. Input: DER.
#include "foundation/Handle.h"
#include "foundation/Utf8.h"
#include "platform/Security.h"
#include "platform/linux/security/X509Values.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <memory>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

using fuzz::require;
using namespace platform;

namespace {

using Certificate = Handle<X509, X509_free>;

Certificate readByOpenSsl(BytesView der) {
    const unsigned char* position = der.data();
    Certificate certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    ERR_clear_error();
    return position == der.data() + der.size() ? std::move(certificate) : Certificate(nullptr);
}

/// How many texts a property list holds; each must be UTF-8.
std::size_t countTexts(const PropertyValue& value) {
    if (const auto* text = value.as<std::string>()) {
        require(isUtf8(*text), "texts are UTF-8");
        return 1;
    }
    std::size_t count = 0;
    if (const auto* array = value.as<PropertyArray>()) {
        for (const PropertyValue& element : *array) {
            count += countTexts(element);
        }
    } else if (const auto* dictionary = value.as<PropertyDictionary>()) {
        for (const auto& [key, entry] : dictionary->entries()) {
            require(isUtf8(key), "keys are UTF-8");
            if (key == kSecPropertyKeyValue || entry.as<PropertyDictionary>() != nullptr) {
                count += countTexts(entry);
            }
        }
    }
    return count;
}

std::size_t textsUnder(const PropertyDictionary& values, const char* oid) {
    const PropertyValue* value = values.find(oid);
    return value == nullptr ? 0 : countTexts(*value);
}

void requireSameSerialNumber(const X509Values& values, const X509* certificate) {
    unsigned char* der = nullptr;
    const int length = i2d_ASN1_INTEGER(X509_get0_serialNumber(certificate), &der);
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(
        der, [](unsigned char* bytes) { OPENSSL_free(bytes); });
    const Bytes& serial = values.serialNumber();
    require(length > static_cast<int>(serial.size())
            && std::equal(serial.rbegin(), serial.rend(), std::make_reverse_iterator(der + length)),
        "both read the same serial number");
}

void requireSamePublicKey(const X509Values& values, const X509* certificate) {
    const EVP_PKEY* key = X509_get0_pubkey(certificate);
    ERR_clear_error();
    if (key != nullptr) {
        const X509Values::PublicKey publicKey = values.publicKey();
        const bool isRsa = EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA;
        require(publicKey.isRsa == isRsa, "both know an RSA key");
        require(!isRsa || publicKey.bits == static_cast<std::size_t>(EVP_PKEY_get_bits(key)),
            "both measure the same modulus");
    }
}

} // namespace

void fuzz::target(std::string_view input) {
    const BytesView der = bytesOf(input);
    const auto values = X509Values::parse(der);
    require(ERR_peek_error() == 0, "no error is left behind");
    if (!values) {
        return;
    }
    const PropertyDictionary properties = values->values();
    countTexts(properties);
    const std::string subject = values->subjectText();
    require(isUtf8(subject), "the subject is UTF-8");
    require(std::none_of(subject.begin(), subject.end(),
                [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }),
        "the subject is one line");
    require(values->serialText().size() == values->serialNumber().size() * 3 - 1,
        "each byte of the serial number is shown");
    values->publicKey();
    require(ERR_peek_error() == 0, "no error is left behind by the public key");

    if (const Certificate certificate = readByOpenSsl(der)) {
        requireSameSerialNumber(*values, certificate.get());
        requireSamePublicKey(*values, certificate.get());
        const auto entries = [](const X509_NAME* name) {
            return static_cast<std::size_t>(X509_NAME_entry_count(name));
        };
        require(textsUnder(properties, kSecOIDX509V1SubjectName)
                == entries(X509_get_subject_name(certificate.get())),
            "both count the same parts of the subject");
        require(textsUnder(properties, kSecOIDX509V1IssuerName)
                == entries(X509_get_issuer_name(certificate.get())),
            "both count the same parts of the issuer");
    }
}
