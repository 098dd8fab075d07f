// SPDX-License-Identifier: MIT
#include "CertificateBuilder.h"
#include "foundation/Handle.h"
#include "tests/keys/RsaKeys.h"

#include <algorithm>
#include <cstdlib>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

namespace {

using Certificate = Handle<X509, X509_free>;

template <typename T>
Bytes derOf(const T* object, int (*encode)(const T*, unsigned char**)) {
    Bytes der(static_cast<std::size_t>(encode(object, nullptr)));
    unsigned char* out = der.data();
    encode(object, &out);
    return der;
}

void fillName(X509_NAME* name, const std::vector<NameAttribute>& attributes) {
    for (const NameAttribute& attribute : attributes) {
        const Handle<ASN1_OBJECT, ASN1_OBJECT_free> object(OBJ_txt2obj(attribute.type.c_str(), 0));
        const Handle<X509_NAME_ENTRY, X509_NAME_ENTRY_free> entry(
            X509_NAME_ENTRY_create_by_OBJ(nullptr, object.get(), attribute.stringType,
                reinterpret_cast<const unsigned char*>(attribute.bytes.data()),
                static_cast<int>(attribute.bytes.size())));
        if (!entry || X509_NAME_add_entry(name, entry.get(), -1, attribute.sameRdn ? -1 : 0) != 1) {
            std::abort();
        }
    }
}

void setSerialNumber(X509* certificate, const Bytes& content) {
    Bytes der = {V_ASN1_INTEGER, static_cast<std::uint8_t>(content.size())};
    der.insert(der.end(), content.begin(), content.end());
    const unsigned char* position = der.data();
    const Handle<ASN1_INTEGER, ASN1_INTEGER_free> number(
        d2i_ASN1_INTEGER(nullptr, &position, static_cast<long>(der.size())));
    if (!number || X509_set_serialNumber(certificate, number.get()) != 1) {
        std::abort();
    }
}

} // namespace

KeyPair makeKeyPair(const std::string& algorithm) {
    if (algorithm == "RSA") {
        static RsaKeys keys(QUILLET_RSA_KEYS);
        return keys.next();
    }
    const Handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(
        EVP_PKEY_CTX_new_from_name(nullptr, algorithm.c_str(), nullptr));
    EVP_PKEY_keygen_init(context.get());
    if (algorithm == "EC") {
        EVP_PKEY_CTX_set_group_name(context.get(), "P-256");
    } else if (algorithm != "ED25519") {
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), 2048);
    }
    EVP_PKEY* key = nullptr;
    if (EVP_PKEY_generate(context.get(), &key) != 1) {
        std::abort();
    }
    return KeyPair(key, EVP_PKEY_free);
}

Bytes CertificateBuilder::build() {
    if (!key) {
        key = makeKeyPair("RSA");
    }
    const Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    static std::uint8_t numbers = 0; // no test makes more than 127 with one issuer
    setSerialNumber(certificate.get(), serialNumber.empty() ? Bytes{++numbers} : serialNumber);
    X509_time_adj(X509_getm_notBefore(certificate.get()), validFrom, &now);
    X509_time_adj(X509_getm_notAfter(certificate.get()), validTo, &now);
    fillName(X509_get_subject_name(certificate.get()), subject);
    fillName(X509_get_issuer_name(certificate.get()), issuer);
    X509_set_pubkey(certificate.get(), key.get());
    if (isAuthority) {
        const Handle<X509_EXTENSION, X509_EXTENSION_free> constraints(
            X509V3_EXT_nconf_nid(nullptr, nullptr, NID_basic_constraints, "critical,CA:TRUE"));
        X509_add_ext(certificate.get(), constraints.get(), -1);
    }
    const std::string usage
        = keyUsage.empty() && isAuthority && hasKeyUsage ? "keyCertSign" : keyUsage;
    if (!usage.empty()) {
        const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
            X509V3_EXT_nconf_nid(nullptr, nullptr, NID_key_usage, usage.c_str()));
        X509_add_ext(certificate.get(), extension.get(), -1);
    }
    const bool hashesItself = EVP_PKEY_is_a(key.get(), "ED25519") == 1;
    if (X509_sign(certificate.get(), key.get(), hashesItself ? nullptr : EVP_sha256()) == 0) {
        std::abort();
    }
    return derOf<X509>(certificate.get(), i2d_X509);
}

Bytes withField(BytesView certificate, std::size_t index, BytesView der) {
    const auto elementAt = [](BytesView& rest) {
        const unsigned char* position = rest.data();
        long length = 0;
        int tag = 0;
        int tagClass = 0;
        ASN1_get_object(&position, &length, &tag, &tagClass, static_cast<long>(rest.size()));
        const auto header = static_cast<std::size_t>(position - rest.data());
        const BytesView all = rest.first(header + static_cast<std::size_t>(length));
        rest = rest.subspan(all.size());
        return std::pair(all, all.subspan(header));
    };
    const auto sequence = [](const Bytes& content) {
        Bytes whole(static_cast<std::size_t>(
            ASN1_object_size(1, static_cast<int>(content.size()), V_ASN1_SEQUENCE)));
        unsigned char* out = whole.data();
        ASN1_put_object(&out, 1, static_cast<int>(content.size()), V_ASN1_SEQUENCE, 0);
        std::copy(content.begin(), content.end(), out);
        return whole;
    };
    BytesView outer = elementAt(certificate).second;
    BytesView fields = elementAt(outer).second;
    Bytes changed;
    for (std::size_t i = 0; !fields.empty(); ++i) {
        const BytesView field = elementAt(fields).first;
        const BytesView taken = i == index ? der : field;
        changed.insert(changed.end(), taken.begin(), taken.end());
    }
    Bytes whole = sequence(changed);
    whole.insert(whole.end(), outer.begin(), outer.end());
    return sequence(whole);
}

Bytes pkcs12(BytesView certificate, const KeyPair& key, const char* name) {
    const unsigned char* position = certificate.data();
    const Certificate parsed(d2i_X509(nullptr, &position, static_cast<long>(certificate.size())));
    const Handle<PKCS12, PKCS12_free> bag(
        PKCS12_create("p12", name, key.get(), parsed.get(), nullptr, 0, 0, 0, 0, 0));
    if (!bag) {
        std::abort();
    }
    return derOf<PKCS12>(bag.get(), i2d_PKCS12);
}
