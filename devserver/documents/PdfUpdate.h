// SPDX-License-Identifier: MIT
// An incremental update of a PDF (ISO 32000-1, 7.5.6) that adds a signature field (12.7.4.5). What
// stood in the file before stays, byte for byte, so earlier signatures stay valid.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// The updated document, still without a signature.
struct PdfUpdate {
    std::string bytes; // the whole file, with zeros where the signature goes
    std::size_t contentsStart = 0; // of the signature's text, its "<" included
    std::size_t contentsEnd = 0; // behind its ">"

    /// The bytes that are signed: all but the signature's text.
    std::string_view beforeContents() const {
        return std::string_view(bytes).substr(0, contentsStart);
    }
    std::string_view afterContents() const { return std::string_view(bytes).substr(contentsEnd); }
};

/// Adds an invisible signature field to the first page, with room for a CMS signature of
/// `signatureRoom` bytes. `time` is the signature's, in PDF's form (7.9.4). Nothing, and the reason
/// in `error`, when the document is no PDF, is damaged, is encrypted, or forbids changes.
std::optional<PdfUpdate> updateForSignature(
    std::string_view pdf, std::size_t signatureRoom, const std::string& time, std::string& error);

} // namespace devserver
