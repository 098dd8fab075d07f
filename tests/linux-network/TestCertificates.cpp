// SPDX-License-Identifier: MIT
#include "tests/linux-network/TestCertificates.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace {

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("OpenSSL could not make a certificate");
    }
}

void addExtension(X509* certificate, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    require(extension != nullptr);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

/// Has the process trust the authority of these tests alone, and use no proxy.
class TrustEnvironment : public testing::Environment {
public:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "network-XXXXXX").string();
        require(mkdtemp(pattern.data()) != nullptr);
        m_folder = pattern;
        const auto file = m_folder / "authority.pem";
        std::ofstream(file) << pemOf(*trustedAuthority().certificate);
        setenv("SSL_CERT_FILE", file.c_str(), 1);
        setenv("SSL_CERT_DIR", m_folder.c_str(), 1);
        for (const char* name : {"https_proxy", "HTTPS_PROXY", "no_proxy", "NO_PROXY"}) {
            unsetenv(name);
        }
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

private:
    std::filesystem::path m_folder;
};

const testing::Environment* const trust
    = testing::AddGlobalTestEnvironment(new TrustEnvironment); // owned by the framework

} // namespace

TestIdentity makeIdentity(const CertificateRequest& request, const TestIdentity* issuer) {
    const std::shared_ptr<EVP_PKEY> key(
        EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
    const std::shared_ptr<X509> certificate(X509_new(), X509_free);
    require(key && certificate);
    X509_set_version(certificate.get(), X509_VERSION_3);
    std::uint64_t serial = 0;
    require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial >> 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), request.validFromSeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), request.validForSeconds);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
        reinterpret_cast<const unsigned char*>(request.commonName.c_str()), -1, -1, 0);
    const X509* issuing = issuer != nullptr ? issuer->certificate.get() : certificate.get();
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuing));
    if (request.isAuthority) {
        addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
        addExtension(certificate.get(), NID_key_usage, "critical,keyCertSign");
    } else if (!request.alternativeNames.empty()) {
        addExtension(certificate.get(), NID_subject_alt_name, request.alternativeNames);
    }
    EVP_PKEY* signer = issuer != nullptr ? issuer->key.get() : key.get();
    require(X509_sign(certificate.get(), signer, EVP_sha256()) != 0);
    return {certificate, key};
}

const TestIdentity& trustedAuthority() {
    static const TestIdentity authority
        = makeIdentity({"Trusted Authority", "", -3600, 86400, true}, nullptr);
    return authority;
}

TestIdentity trustedIdentity(const CertificateRequest& request) {
    return makeIdentity(request, &trustedAuthority());
}

std::string pemOf(const X509& certificate) {
    const std::unique_ptr<BIO, int (*)(BIO*)> bio(BIO_new(BIO_s_mem()), BIO_free);
    require(PEM_write_bio_X509(bio.get(), &certificate) == 1);
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}
