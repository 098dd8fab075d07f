// SPDX-License-Identifier: MIT
#include "tests/documents/TestSigner.h"

#include "foundation/Handle.h"
#include "tests/keys/RsaKeys.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <stdexcept>

namespace {

using Certificate = Handle<X509, X509_free>;
using Context = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;

void check(bool holds) {
    if (!holds) {
        throw std::runtime_error("no test signer");
    }
}

} // namespace

struct TestSigner::Key {
    Handle<EVP_PKEY, EVP_PKEY_free> pkey;
};

TestSigner::TestSigner(const std::string& name, Kind kind)
    : m_key(std::make_unique<Key>()) {
    static RsaKeys keys(QUILLET_RSA_KEYS);
    m_key->pkey = kind == Kind::rsa
        ? keys.next()
        : RsaKeys::Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    const Certificate certificate(X509_new());
    check(m_key->pkey && certificate);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 4711);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600 * 24);
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
        reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    X509_set_pubkey(certificate.get(), m_key->pkey.get());
    check(X509_sign(certificate.get(), m_key->pkey.get(), EVP_sha256()) > 0);
    m_certificateDer.resize(static_cast<std::size_t>(i2d_X509(certificate.get(), nullptr)));
    auto* out = reinterpret_cast<unsigned char*>(m_certificateDer.data());
    i2d_X509(certificate.get(), &out);
}

TestSigner::~TestSigner() = default;

std::string TestSigner::certificatePem() const {
    const auto* position = reinterpret_cast<const unsigned char*>(m_certificateDer.data());
    const Certificate certificate(
        d2i_X509(nullptr, &position, static_cast<long>(m_certificateDer.size())));
    const Handle<BIO, BIO_free_all> bio(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_X509(bio.get(), certificate.get()) == 1);
    std::string text(BIO_ctrl_pending(bio.get()), '\0');
    check(BIO_read(bio.get(), text.data(), static_cast<int>(text.size())) > 0);
    return text;
}

std::string TestSigner::sign(std::string_view data) const {
    const Context context(EVP_MD_CTX_new());
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
    std::size_t length = 0;
    check(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, m_key->pkey.get()) == 1
        && EVP_DigestSign(context.get(), nullptr, &length, bytes, data.size()) == 1);
    std::string signature(length, '\0');
    check(EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
              bytes, data.size())
        == 1);
    signature.resize(length);
    return signature;
}
