// SPDX-License-Identifier: MIT
#include "bench/duty/Identities.h"

#include "foundation/Base64.h"
#include "foundation/Handle.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <keyhi.h>
#include <memory>
#include <nss.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <pk11pub.h>
#include <secport.h>
#include <stdexcept>
#include <utility>

namespace {

using Certificate = Handle<X509, X509_free>;
using Key = Handle<SECKEYPrivateKey, SECKEY_DestroyPrivateKey>;
struct FreeArena {
    void operator()(PLArenaPool* arena) const { PORT_FreeArena(arena, PR_FALSE); }
};
using Arena = std::unique_ptr<PLArenaPool, FreeArena>;
using Objects = Handle<PK11GenericObject, PK11_DestroyGenericObjects>;

template <typename T>
T checked(T value, const char* what) {
    if (!value) {
        throw std::runtime_error(what);
    }
    return value;
}

PK11SlotInfo* database() {
    static PK11SlotInfo* const slot = [] {
        const std::string address = std::string("sql:") + std::getenv("HOME") + "/.pki/nssdb";
        checked(NSS_InitContext(address.c_str(), "", "", SECMOD_DB, nullptr,
                    NSS_INIT_READONLY | NSS_INIT_NOROOTINIT | NSS_INIT_NOMODDB),
            "no key database");
        return checked(PK11_GetInternalKeySlot(), "no slot");
    }();
    return slot;
}

/// A private key has no value to show.
std::pair<Bytes, Bytes> idAndValue(PK11GenericObject* object, bool hasValue) {
    const Arena arena(PORT_NewArena(DER_DEFAULT_CHUNKSIZE));
    CK_ATTRIBUTE read[] = {{CKA_ID, nullptr, 0}, {CKA_VALUE, nullptr, 0}};
    if (PK11_ReadRawAttributes(arena.get(), PK11_TypeGeneric, object, read, hasValue ? 2 : 1)
        != SECSuccess) {
        return {};
    }
    const auto bytesOf = [](const CK_ATTRIBUTE& attribute) {
        const auto* const begin = static_cast<const std::uint8_t*>(attribute.pValue);
        return begin == nullptr ? Bytes() : Bytes(begin, begin + attribute.ulValueLen);
    };
    return {bytesOf(read[0]), bytesOf(read[1])};
}

template <typename Visit>
void forEach(CK_OBJECT_CLASS objectClass, const Visit& visit) {
    const Objects objects(PK11_FindGenericObjects(database(), objectClass));
    for (PK11GenericObject* object = objects.get(); object != nullptr;
         object = PK11_GetNextGenericObject(object)) {
        visit(object);
    }
}

std::string textOf(const X509_NAME_ENTRY* entry) {
    const ASN1_STRING* const value = X509_NAME_ENTRY_get_data(entry);
    const unsigned char* const data = ASN1_STRING_get0_data(value);
    return {data, data + ASN1_STRING_length(value)};
}

std::string joined(const X509_NAME* name) {
    std::string text;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        text += (text.empty() ? "" : ", ") + textOf(X509_NAME_get_entry(name, i));
    }
    return text;
}

void readCertificate(Identity& identity) {
    const unsigned char* der = identity.der.data();
    const Certificate certificate(
        checked(d2i_X509(nullptr, &der, static_cast<long>(identity.der.size())), "no certificate"));
    const X509_NAME* const subject = X509_get_subject_name(certificate.get());
    const int name = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    identity.name = textOf(X509_NAME_get_entry(subject, name));
    identity.subject = joined(subject);
    identity.issuer = joined(X509_get_issuer_name(certificate.get()));
    const ASN1_INTEGER* const serial = X509_get0_serialNumber(certificate.get());
    for (int i = 0; i < ASN1_STRING_length(serial); ++i) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", ASN1_STRING_get0_data(serial)[i]);
        identity.serial += escaped;
    }
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(identity.der.data(), identity.der.size(), digest);
    identity.digest = base64Encoded(digest);
}

} // namespace

std::vector<Identity> identities() {
    std::vector<Bytes> keys;
    forEach(CKO_PRIVATE_KEY,
        [&](PK11GenericObject* object) { keys.push_back(idAndValue(object, false).first); });
    std::vector<Identity> found;
    forEach(CKO_CERTIFICATE, [&](PK11GenericObject* object) {
        auto [keyId, der] = idAndValue(object, true);
        if (std::find(keys.begin(), keys.end(), keyId) != keys.end()) {
            found.push_back({std::move(keyId), std::move(der), {}, {}, {}, {}, {}});
            readCertificate(found.back());
        }
    });
    return found;
}

std::string signatureOf(const Identity& identity, BytesView bytes) {
    // The DigestInfo of SHA-256 (RFC 8017, 9.2) up to the digest.
    Bytes input{0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02,
        0x01, 0x05, 0x00, 0x04, 0x20};
    input.resize(input.size() + SHA256_DIGEST_LENGTH);
    SHA256(bytes.data(), bytes.size(), &input[input.size() - SHA256_DIGEST_LENGTH]);

    Bytes keyId = identity.keyId;
    SECItem id{siBuffer, keyId.data(), static_cast<unsigned int>(keyId.size())};
    const Key key(checked(PK11_FindKeyByKeyID(database(), &id, nullptr), "no key"));
    Bytes signature(static_cast<std::size_t>(PK11_SignatureLen(key.get())));
    const SECItem in{siBuffer, input.data(), static_cast<unsigned int>(input.size())};
    SECItem out{siBuffer, signature.data(), static_cast<unsigned int>(signature.size())};
    checked(PK11_Sign(key.get(), &out, &in) == SECSuccess, "no signature");
    return base64Encoded({out.data, out.len});
}
