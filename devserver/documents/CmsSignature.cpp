// SPDX-License-Identifier: MIT
#include "devserver/documents/CmsSignature.h"

#include "devserver/crypto/OpenSsl.h"

#include <algorithm>
#include <vector>

#include <openssl/cms.h>
#include <openssl/sha.h>

namespace devserver {

namespace {

using namespace openssl;

using Content = Handle<CMS_ContentInfo, CMS_ContentInfo_free>;
using DigestContext = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;

Certificate certificateOf(std::string_view der) {
    const unsigned char* position = unsignedBytes(der);
    Certificate certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    return position == unsignedBytes(der) + der.size() ? std::move(certificate) : nullptr;
}

/// The DER bytes that an `i2d` function writes; empty when it fails.
template <typename Write>
std::string derOf(Write&& write) {
    unsigned char* bytes = nullptr;
    const int length = write(&bytes);
    std::string der;
    if (length > 0) {
        der.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
        OPENSSL_free(bytes);
    }
    return der;
}

/// A tag and a length in DER (X.690, 8.1.3).
std::string derHeader(unsigned char tag, std::size_t length) {
    std::string header(1, static_cast<char>(tag));
    if (length < 0x80) {
        header += static_cast<char>(length);
        return header;
    }
    std::string bytes;
    for (; length > 0; length >>= 8) {
        bytes.insert(bytes.begin(), static_cast<char>(length & 0xFF));
    }
    header += static_cast<char>(0x80 | bytes.size());
    return header + bytes;
}

/// The attributes as an explicit SET OF: in the order of their encodings (X.690, 11.6), under the
/// universal tag, which is what is signed.
std::string signedAttributesOf(const CMS_SignerInfo* signer) {
    std::vector<std::string> attributes;
    std::size_t length = 0;
    for (int i = 0; i < CMS_signed_get_attr_count(signer); ++i) {
        X509_ATTRIBUTE* const attribute = CMS_signed_get_attr(signer, i);
        attributes.push_back(
            derOf([&](unsigned char** out) { return i2d_X509_ATTRIBUTE(attribute, out); }));
        length += attributes.back().size();
    }
    std::sort(attributes.begin(), attributes.end(), [](const auto& a, const auto& b) {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
                return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
            });
    });
    std::string set = derHeader(V_ASN1_SET | V_ASN1_CONSTRUCTED, length);
    for (const std::string& attribute : attributes) {
        set += attribute;
    }
    return set;
}

/// A signer that signs nothing yet. The certificate's public key stands where the library wants the
/// private one; signing-certificate-v2 comes with the CAdES flag.
CMS_SignerInfo* addSigner(CMS_ContentInfo* content, X509* certificate, std::string_view digest) {
    CMS_SignerInfo* const signer = CMS_add1_signer(content, certificate,
        X509_get0_pubkey(certificate), EVP_sha256(), CMS_PARTIAL | CMS_CADES | CMS_NOSMIMECAP);
    const bool made = signer != nullptr
        && CMS_signed_add1_attr_by_NID(
               signer, NID_pkcs9_contentType, V_ASN1_OBJECT, OBJ_nid2obj(NID_pkcs7_data), -1)
            == 1
        && CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING,
               digest.data(), static_cast<int>(digest.size()))
            == 1;
    return made ? signer : nullptr;
}

} // namespace

struct CmsSignature::Impl {
    Content content;
    CMS_SignerInfo* signer = nullptr; // the content's
    std::string certificateDer;
    std::string signedAttributes;
};

CmsSignature::CmsSignature(std::unique_ptr<Impl> impl)
    : m_impl(std::move(impl)) {
}
CmsSignature::CmsSignature(CmsSignature&&) noexcept = default;
CmsSignature& CmsSignature::operator=(CmsSignature&&) noexcept = default;
CmsSignature::~CmsSignature() = default;

std::optional<CmsSignature> CmsSignature::begin(
    std::string_view certificateDer, std::string_view digest, std::string& error) {
    const Certificate certificate = certificateOf(certificateDer);
    if (!certificate) {
        ERR_clear_error();
        error = "the agent's certificate is not a certificate";
        return std::nullopt;
    }
    EVP_PKEY* const key = X509_get0_pubkey(certificate.get());
    if (key == nullptr || EVP_PKEY_is_a(key, "RSA") != 1) {
        error = "the certificate's key is not an RSA key";
        return std::nullopt;
    }
    auto impl = std::make_unique<Impl>();
    impl->content.reset(
        CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_PARTIAL | CMS_DETACHED | CMS_BINARY));
    impl->signer
        = impl->content ? addSigner(impl->content.get(), certificate.get(), digest) : nullptr;
    if (impl->signer == nullptr) {
        error = "the CMS signature cannot be made: " + lastError();
        return std::nullopt;
    }
    impl->certificateDer = certificateDer;
    impl->signedAttributes = signedAttributesOf(impl->signer);
    return CmsSignature(std::move(impl));
}

const std::string& CmsSignature::signedAttributes() const {
    return m_impl->signedAttributes;
}

std::optional<std::string> CmsSignature::complete(std::string_view signature, std::string& error) {
    if (!isSignedBy(m_impl->certificateDer, signature, m_impl->signedAttributes)) {
        error
            = "the signature that came back is not one of the bytes sent, by the certificate's key";
        return std::nullopt;
    }
    std::string der;
    if (ASN1_STRING_set(CMS_SignerInfo_get0_signature(m_impl->signer), signature.data(),
            static_cast<int>(signature.size()))
        == 1) {
        der = derOf(
            [&](unsigned char** out) { return i2d_CMS_ContentInfo(m_impl->content.get(), out); });
    }
    if (der.empty()) {
        error = "the CMS signature cannot be written: " + lastError();
        return std::nullopt;
    }
    return der;
}

bool isSignedBy(
    std::string_view certificateDer, std::string_view signature, std::string_view data) {
    const Certificate certificate = certificateOf(certificateDer);
    EVP_PKEY* const key = certificate ? X509_get0_pubkey(certificate.get()) : nullptr;
    const DigestContext context(EVP_MD_CTX_new());
    const bool valid = key != nullptr && context && EVP_PKEY_is_a(key, "RSA") == 1
        && EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1
        && EVP_DigestVerify(context.get(), unsignedBytes(signature), signature.size(),
               unsignedBytes(data), data.size())
            == 1;
    ERR_clear_error();
    return valid;
}

std::string sha256(std::initializer_list<std::string_view> parts) {
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    const DigestContext context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    for (const std::string_view part : parts) {
        EVP_DigestUpdate(context.get(), part.data(), part.size());
    }
    EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr);
    return digest;
}

} // namespace devserver
