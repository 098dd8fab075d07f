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
    static std::optional<PdfSignature> begin(
        std::string_view pdf, std::string_view certificateDer, std::string& error);

    /// The bytes whose SHA256withRSA signature is wanted.
    const std::string& bytesToSign() const { return m_cms.signedAttributes(); }
    /// The signed file, once. Nothing, and the reason in `error`, when the signature is not valid.
    std::optional<std::string> complete(std::string_view signature, std::string& error);

private:
    PdfSignature(PdfUpdate update, CmsSignature cms)
        : m_update(std::move(update))
        , m_cms(std::move(cms)) { }

    PdfUpdate m_update;
    CmsSignature m_cms;
};

} // namespace devserver
