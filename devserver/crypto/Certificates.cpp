// SPDX-License-Identifier: MIT
#include "devserver/crypto/Certificates.h"

#include <openssl/rand.h>

namespace devserver {

using namespace openssl;

namespace {

bool setCommonName(X509_NAME* name, const std::string& text) {
    return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
               reinterpret_cast<const unsigned char*>(text.c_str()), -1, -1, 0)
        == 1;
}

/// 63 random bits: an authority of each start must not repeat the serial numbers of another.
bool setSerialNumber(X509* certificate) {
    std::uint64_t number = 0;
    return RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number) == 1
        && ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), (number >> 1) | 1) == 1;
}

bool addExtension(X509* certificate, X509* issuer, int id, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

/// A version 3 certificate (RFC 5280, 4.1) with everything but extensions and signature.
Certificate beginCertificate(
    const std::string& commonName, EVP_PKEY* key, const CertificateOptions& options) {
    Certificate certificate(X509_new());
    const bool made = certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1
        && setSerialNumber(certificate.get())
        && setCommonName(X509_get_subject_name(certificate.get()), commonName)
        && X509_gmtime_adj(X509_getm_notBefore(certificate.get()), options.validFrom.count())
            != nullptr
        && X509_gmtime_adj(X509_getm_notAfter(certificate.get()), options.validTo.count())
            != nullptr
        && X509_set_pubkey(certificate.get(), key) == 1;
    return made ? std::move(certificate) : nullptr;
}

bool finishCertificate(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
    return X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1
        && X509_sign(certificate, issuerKey, EVP_sha256()) > 0;
}

/// The names for which a kept authority may vouch (RFC 5280, 4.2.1.10).
constexpr const char* loopbackOnly
    = "critical,permitted;DNS:localhost,permitted;IP:127.0.0.1/255.255.255.255,"
      "permitted;IP:::1/FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF";
constexpr std::chrono::hours keptFor(24 * 365 * 2);

std::string alternativeNames(const CertificateOptions& options) {
    std::string names;
    const auto add = [&](const char* kind, const std::string& name) {
        names += (names.empty() ? "" : ",") + std::string(kind) + ":" + name;
    };
    for (const std::string& name : options.dnsNames) {
        add("DNS", name);
    }
    for (const std::string& address : options.addresses) {
        add("IP", address);
    }
    return names;
}

} // namespace

Key makeKey() {
    return Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
}

Certificate makeAuthority(EVP_PKEY* key, bool isKept) {
    // The authority is valid whatever the server's certificate says of itself.
    CertificateOptions options;
    if (isKept) {
        options.validTo = keptFor;
    }
    Certificate authority = beginCertificate("Quillet development authority", key, options);
    X509* const self = authority.get();
    const bool made = authority
        && (!isKept || addExtension(self, self, NID_name_constraints, loopbackOnly))
        && addExtension(self, self, NID_basic_constraints, "critical,CA:TRUE,pathlen:0")
        && addExtension(self, self, NID_key_usage, "critical,keyCertSign,cRLSign")
        && addExtension(self, self, NID_ext_key_usage, "serverAuth")
        && addExtension(self, self, NID_subject_key_identifier, "hash")
        && finishCertificate(self, self, key);
    return made ? std::move(authority) : nullptr;
}

Certificate makeServerCertificate(
    EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey, const CertificateOptions& options) {
    Certificate server = beginCertificate("Quillet development server", key, options);
    const std::string names = alternativeNames(options);
    const bool made = server
        && addExtension(server.get(), authority, NID_basic_constraints, "critical,CA:FALSE")
        && addExtension(server.get(), authority, NID_key_usage, "critical,digitalSignature")
        && addExtension(server.get(), authority, NID_ext_key_usage, "serverAuth")
        && addExtension(server.get(), authority, NID_authority_key_identifier, "keyid:always")
        && (names.empty() || addExtension(server.get(), authority, NID_subject_alt_name, names))
        && finishCertificate(server.get(), authority, authorityKey);
    return made ? std::move(server) : nullptr;
}

std::string pemOf(X509* certificate) {
    return written([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); }).value_or("");
}

std::string pemOf(EVP_PKEY* key) {
    return written([&](BIO* bio) {
        return PEM_write_bio_PKCS8PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    }).value_or("");
}

} // namespace devserver
