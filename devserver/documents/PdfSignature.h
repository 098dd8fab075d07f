// SPDX-License-Identifier: MIT
// A PDF with one more signature: a signature field in an incremental update, with a detached CMS
// signature of the PAdES baseline over all bytes but its own (ISO 32000-1, 12.8; ETSI EN 319
// 142-1).
#pragma once

#include "devserver/documents/CmsSignature.h"
#include "devserver/documents/PdfUpdate.h"

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

class PdfSignature {
public:
    /// Nothing, and the reason in `error`, when the document or the certificate does not do.
    static std::optional<PdfSignature> begin(std::string pdf, std::string_view certificateDer,
        const PdfOptions& options, std::string& error);

    /// The bytes whose SHA256withRSA signature is wanted.
    const std::string& bytesToSign() const { return m_cms.signedAttributes(); }
    /// The document, still without the signature.
    const std::string& document() const { return m_pdf; }
    /// The signed file, once; it has been opened again. Nothing, and the reason in `error`, when
    /// the signature is not valid, or when anything else than the signature would have changed.
    std::optional<std::string> complete(std::string_view signature, std::string& error);

private:
    PdfSignature(std::string pdf, PdfUpdate update, CmsSignature cms, std::string password)
        : m_pdf(std::move(pdf))
        , m_update(std::move(update))
        , m_cms(std::move(cms))
        , m_password(std::move(password)) { }

    std::string m_pdf;
    PdfUpdate m_update;
    CmsSignature m_cms;
    std::string m_password;
};

/// Why a PDF cannot be signed, whatever the certificate; nothing when it can.
std::optional<PdfRefusal> pdfRefusal(std::string_view pdf, const PdfOptions& options);

} // namespace devserver
