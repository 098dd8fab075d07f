// SPDX-License-Identifier: MIT
// An incremental update of a PDF (ISO 32000-1, 7.5.6) that adds a signature field (12.7.4.5). What
// stood in the file before stays, byte for byte, so earlier signatures stay valid; and what the
// update writes again it writes as it stood, but for the entries that lead to the signature.
#pragma once

#include "devserver/documents/PdfFile.h"

#include <set>
#include <string>
#include <string_view>

namespace devserver {

/// What a signature says besides its certificate, and what opens the document.
struct PdfOptions {
    std::string password = {};
    std::string reason = {};
    std::string location = {};
};

/// What is appended to the document, still without a signature.
struct PdfUpdate {
    std::string text; // with zeros where the signature goes
    std::size_t contentsStart = 0; // of the signature in the text, its "<" included
    std::size_t contentsEnd = 0; // behind its ">"
    std::set<PdfReference> changed; // objects that the document had
    PdfReference signature; // of all new objects the one of the lowest number
    PdfReference field;

    std::string_view beforeContents() const {
        return std::string_view(text).substr(0, contentsStart);
    }
    std::string_view afterContents() const { return std::string_view(text).substr(contentsEnd); }
};

/// Throws PdfRefusal. `time` is the signature's, in PDF's form; `signatureRoom` how many bytes it
/// may have.
PdfUpdate updateForSignature(std::string_view pdf, std::size_t signatureRoom,
    const std::string& time, const PdfOptions& options);

/// Whether an entry of a trailer tells of its own section; all others are handed on.
bool isOfItsSectionAlone(const std::string& key);

} // namespace devserver
