// SPDX-License-Identifier: MIT
// Detached CMS signatures of the PAdES baseline (RFC 5652; ETSI EN 319 142-1, 6): the key is
// elsewhere, so a signature is begun here, made there over the signed attributes, and completed
// here.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

class CmsSignature {
public:
    /// A SignedData with one signer and the signed attributes content-type, message-digest and
    /// signing-certificate-v2. `digest` is the SHA-256 of the signed bytes. Nothing, and the reason
    /// in `error`, when the certificate is not a DER certificate with an RSA key.
    static std::optional<CmsSignature> begin(
        std::string_view certificateDer, std::string_view digest, std::string& error);

    CmsSignature(CmsSignature&&) noexcept;
    CmsSignature& operator=(CmsSignature&&) noexcept;
    ~CmsSignature();

    /// The DER bytes whose SHA256withRSA signature is wanted (RFC 5652, 5.4).
    const std::string& signedAttributes() const;
    /// The DER ContentInfo. Nothing, and the reason in `error`, when `signature` is not one of the
    /// signed attributes by the certificate's key.
    std::optional<std::string> complete(std::string_view signature, std::string& error);

private:
    struct Impl;
    explicit CmsSignature(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

/// Whether `signature` is the SHA256withRSA signature of `data` by the key of a DER certificate.
bool isSignedBy(std::string_view certificateDer, std::string_view signature, std::string_view data);

/// The 32 bytes of a SHA-256 digest of the parts, one after the other.
std::string sha256(std::initializer_list<std::string_view> parts);

} // namespace devserver
