// SPDX-License-Identifier: MIT
#include "platform/linux/security/X509Values.h"

#include "platform/Security.h"
#include "platform/linux/security/DerReader.h"
#include "platform/linux/security/X509Extensions.h"
#include "platform/linux/security/X509Text.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

namespace platform {

namespace {

constexpr const char* oidVersion = "2.16.840.1.113741.2.1.1.1.2";
constexpr const char* oidSerialNumber = "2.16.840.1.113741.2.1.1.1.3";

std::string oidText(const ASN1_OBJECT* object) {
    const int length = OBJ_obj2txt(nullptr, 0, object, 1);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    OBJ_obj2txt(text.data(), length + 1, object, 1);
    text.pop_back();
    return text;
}

/// AttributeTypeAndValue ::= SEQUENCE { type OBJECT IDENTIFIER, value ANY }
std::optional<X509Values::Attribute> readAttribute(DerReader& rdn) {
    const auto sequence = rdn.read(V_ASN1_SEQUENCE);
    if (!sequence) {
        return std::nullopt;
    }
    DerReader inside(sequence->content);
    const auto type = inside.read(V_ASN1_OBJECT);
    const auto value = inside.read();
    if (!type || !value || !inside.atEnd()) {
        return std::nullopt;
    }
    const unsigned char* position = type->all.data();
    const std::unique_ptr<ASN1_OBJECT, void (*)(ASN1_OBJECT*)> object(
        d2i_ASN1_OBJECT(nullptr, &position, static_cast<long>(type->all.size())), ASN1_OBJECT_free);
    if (!object) {
        ERR_clear_error();
        return std::nullopt;
    }
    X509Values::Attribute attribute{oidText(object.get()), {}, utf8Text(*value)};
    const int nid = OBJ_obj2nid(object.get());
    attribute.label = nid == NID_undef ? attribute.oid : OBJ_nid2ln(nid);
    return attribute;
}

/// Name ::= SEQUENCE OF SET OF AttributeTypeAndValue. An empty set is no RDN, but is read by
/// others.
std::optional<X509Values::Name> readName(DerReader& fields) {
    const auto sequence = fields.read(V_ASN1_SEQUENCE);
    if (!sequence) {
        return std::nullopt;
    }
    X509Values::Name name;
    for (DerReader rdns(sequence->content); !rdns.atEnd();) {
        const auto set = rdns.read(V_ASN1_SET);
        if (!set) {
            return std::nullopt;
        }
        X509Values::Rdn& rdn = name.emplace_back();
        for (DerReader attributes(set->content); !attributes.atEnd();) {
            auto attribute = readAttribute(attributes);
            if (!attribute) {
                return std::nullopt;
            }
            rdn.push_back(std::move(*attribute));
        }
    }
    return name;
}

BytesView withoutLeadingZeros(BytesView number) {
    while (!number.empty() && number[0] == 0) {
        number = number.subspan(1);
    }
    return number;
}

/// The version as people count it: the number 2 stands for version 3, nothing for version 1. Some
/// writers put a zero byte before it, which DER does not allow and libraries read.
std::optional<std::uint64_t> readVersion(DerReader& fields) {
    const auto version = fields.readContext(0);
    if (!version) {
        return 1;
    }
    DerReader inside(version->content);
    const auto number = inside.read(V_ASN1_INTEGER);
    if (!number || !inside.atEnd() || number->content.empty()) {
        return std::nullopt;
    }
    const BytesView digits = withoutLeadingZeros(number->content);
    if (digits.size() > 1) {
        return std::nullopt;
    }
    return digits.empty() ? 1 : std::uint64_t{digits[0]} + 1;
}

/// The fields of Certificate ::= SEQUENCE { tbsCertificate, signatureAlgorithm, signatureValue }.
std::optional<BytesView> tbsFields(BytesView der) {
    DerReader outside(der);
    const auto certificate = outside.read(V_ASN1_SEQUENCE);
    if (!certificate || !outside.atEnd()) {
        return std::nullopt;
    }
    DerReader parts(certificate->content);
    const auto tbs = parts.read(V_ASN1_SEQUENCE);
    if (!tbs || !parts.read(V_ASN1_SEQUENCE) || !parts.read(V_ASN1_BIT_STRING) || !parts.atEnd()) {
        return std::nullopt;
    }
    return tbs->content;
}

/// The positive number of an INTEGER, without leading zeros; empty when there is none.
BytesView readPositive(DerReader& fields) {
    const auto number = fields.read(V_ASN1_INTEGER);
    if (!number || number->content.empty() || number->content[0] >= 0x80) {
        return {};
    }
    return withoutLeadingZeros(number->content);
}

/// The length of the modulus in bits of a SubjectPublicKeyInfo with a plain RSA key (RFC 3279,
/// 2.3.1); nothing for any other. OpenSSL's decoders take a hundred times as long.
std::optional<std::size_t> rsaModulusBits(BytesView publicKeyInfo) {
    static constexpr std::uint8_t algorithmOfRsa[] = {0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48,
        0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00}; // rsaEncryption, NULL
    DerReader outside(publicKeyInfo);
    const auto info = outside.read(V_ASN1_SEQUENCE);
    DerReader parts(info ? info->content : BytesView());
    const auto algorithm = parts.read(V_ASN1_SEQUENCE);
    const auto bits = parts.read(V_ASN1_BIT_STRING);
    if (!algorithm || !bits || bits->content.empty() || bits->content[0] != 0
        || !std::equal(algorithm->all.begin(), algorithm->all.end(), std::begin(algorithmOfRsa),
            std::end(algorithmOfRsa))) {
        return std::nullopt;
    }
    DerReader inside(bits->content.subspan(1));
    const auto key = inside.read(V_ASN1_SEQUENCE);
    DerReader numbers(key ? key->content : BytesView());
    const BytesView modulus = readPositive(numbers);
    const BytesView exponent = readPositive(numbers);
    if (modulus.empty() || exponent.empty() || !numbers.atEnd() || !inside.atEnd()) {
        return std::nullopt;
    }
    return modulus.size() * 8 - static_cast<std::size_t>(std::countl_zero(modulus[0]));
}

PropertyDictionary property(
    const char* type, std::string label, std::string localizedLabel, PropertyValue value) {
    PropertyDictionary dictionary;
    dictionary.set(kSecPropertyKeyType, type);
    dictionary.set(kSecPropertyKeyLabel, std::move(label));
    dictionary.set(kSecPropertyKeyLocalizedLabel, std::move(localizedLabel));
    dictionary.set(kSecPropertyKeyValue, std::move(value));
    return dictionary;
}

PropertyDictionary sectionOf(const char* oid, const char* label, const X509Values::Name& name) {
    PropertyArray section;
    for (const X509Values::Rdn& rdn : name) {
        PropertyArray attributes;
        for (const X509Values::Attribute& attribute : rdn) {
            attributes.push_back(
                property(kSecPropertyTypeString, attribute.oid, attribute.label, attribute.text));
        }
        if (attributes.empty()) {
            continue; // no text comes of it
        }
        if (attributes.size() == 1) {
            section.push_back(std::move(attributes.front()));
        } else {
            section.push_back(property(kSecPropertyTypeSection, {}, {}, std::move(attributes)));
        }
    }
    return property(kSecPropertyTypeSection, oid, label, std::move(section));
}

std::string hexText(const Bytes& bytes, char separator) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += {digits[byte >> 4], digits[byte & 15]};
    }
    return text;
}

} // namespace

std::optional<X509Values> X509Values::parse(BytesView der) {
    const auto tbs = tbsFields(der);
    if (!tbs) {
        return std::nullopt;
    }
    DerReader fields(*tbs);
    const auto version = readVersion(fields);
    const auto serialNumber = fields.read(V_ASN1_INTEGER);
    const auto signature = fields.read(V_ASN1_SEQUENCE);
    auto issuer = readName(fields);
    const auto validity = fields.read(V_ASN1_SEQUENCE);
    auto subject = readName(fields);
    const auto publicKeyInfo = fields.read(V_ASN1_SEQUENCE);
    if (!version || !serialNumber || serialNumber->content.empty() || !signature || !issuer
        || !validity || !subject || !publicKeyInfo) {
        return std::nullopt;
    }
    X509Values values;
    values.m_isOfAuthority = hasExtensionsOfAuthority(fields);
    values.m_version = *version;
    values.m_serialNumber.assign(serialNumber->content.begin(), serialNumber->content.end());
    values.m_issuer = std::move(*issuer);
    values.m_subject = std::move(*subject);
    values.m_publicKeyInfo.assign(publicKeyInfo->all.begin(), publicKeyInfo->all.end());
    return values;
}

PropertyDictionary X509Values::values() const {
    PropertyArray commonNames;
    for (const Rdn& rdn : m_subject) {
        for (const Attribute& attribute : rdn) {
            if (attribute.oid == kSecOIDCommonName) {
                commonNames.push_back(attribute.text);
            }
        }
    }
    PropertyDictionary values;
    if (!commonNames.empty()) {
        values.set(kSecOIDCommonName,
            property(
                kSecPropertyTypeArray, kSecOIDCommonName, "Common Name", std::move(commonNames)));
    }
    values.set(
        kSecOIDX509V1IssuerName, sectionOf(kSecOIDX509V1IssuerName, "Issuer Name", m_issuer));
    values.set(
        kSecOIDX509V1SubjectName, sectionOf(kSecOIDX509V1SubjectName, "Subject Name", m_subject));
    values.set(oidVersion,
        property(kSecPropertyTypeString, oidVersion, "Version", std::to_string(m_version)));
    values.set(oidSerialNumber,
        property(kSecPropertyTypeString, oidSerialNumber, "Serial Number",
            hexText(m_serialNumber, ' ')));
    return values;
}

std::string X509Values::subjectText() const {
    std::string text;
    bool first = true;
    for (const Rdn& rdn : m_subject) {
        for (const Attribute& attribute : rdn) {
            text += first ? "" : ", ";
            text += attribute.text;
            first = false;
        }
    }
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; }, ' ');
    return text;
}

std::string X509Values::serialText() const {
    return hexText(m_serialNumber, ':');
}

X509Values::PublicKey X509Values::publicKey() const {
    if (const auto bits = rsaModulusBits(m_publicKeyInfo)) {
        return {"RSA", *bits, true};
    }
    const unsigned char* position = m_publicKeyInfo.data();
    const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(
        d2i_PUBKEY(nullptr, &position, static_cast<long>(m_publicKeyInfo.size())), EVP_PKEY_free);
    ERR_clear_error();
    if (!key) {
        return {};
    }
    PublicKey result;
    result.isRsa = EVP_PKEY_get_base_id(key.get()) == EVP_PKEY_RSA;
    const char* name = EVP_PKEY_get0_type_name(key.get());
    result.algorithm = name == nullptr ? "" : name;
    result.bits = static_cast<std::size_t>(std::max(EVP_PKEY_get_bits(key.get()), 0));
    return result;
}

} // namespace platform
