// SPDX-License-Identifier: MIT
// An enveloped XML signature: a Signature element as the last child of the document's root
// (XML Signature Syntax and Processing 1.1; Exclusive XML Canonicalization 1.0).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

class XmlSignature {
public:
    /// Nothing, and the reason in `error`, when the text is no XML document, has a document type,
    /// or holds a signature already.
    static std::optional<XmlSignature> begin(std::string_view xml, std::string& error);

    XmlSignature(XmlSignature&&) noexcept;
    XmlSignature& operator=(XmlSignature&&) noexcept;
    ~XmlSignature();

    /// The canonical SignedInfo, whose SHA256withRSA signature is wanted.
    const std::string& signedInfo() const;
    /// The signed document in UTF-8. Nothing, and the reason in `error`, when the signature is not
    /// one of the signed-info by the certificate's key. Once.
    std::optional<std::string> complete(
        std::string_view signature, std::string_view certificateDer, std::string& error);

private:
    struct Impl;
    explicit XmlSignature(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

} // namespace devserver
