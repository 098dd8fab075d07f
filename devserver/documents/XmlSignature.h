// SPDX-License-Identifier: MIT
// An enveloped XML signature: a Signature element below the document's root (XML Signature Syntax
// and Processing 1.1; Exclusive XML Canonicalization 1.0). It is put into the text; all else stays
// as it is, to the byte.
#pragma once

#include "devserver/documents/XmlReading.h"

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

class XmlSignature {
public:
    /// Nothing, and the reason in `error`, when the text is no XML document, has a document type,
    /// or holds a signature that would not be valid any more.
    static std::optional<XmlSignature> begin(
        std::string xml, const XmlOptions& options, std::string& error);

    /// The canonical SignedInfo, whose SHA256withRSA signature is wanted.
    const std::string& signedInfo() const { return m_signedInfo; }
    /// The signed document; it has been read again. Nothing, and the reason in `error`, when the
    /// signature is not one of the signed-info by the certificate's key. Once.
    std::optional<std::string> complete(
        std::string_view signature, std::string_view certificateDer, std::string& error);

private:
    XmlSignature() = default;

    std::string elementWith(std::string_view signature, std::string_view certificateDer) const;
    /// Puts a Signature element into the document.
    void insert(const std::string& element);
    bool refusesEarlierSignatures(std::string& error);
    bool isAsMeant() const;

    std::string m_xml;
    XmlOptions m_options;
    XmlReading m_reading;
    std::string m_signedInfo;
    int m_earlier = 0; // signatures
};

} // namespace devserver
