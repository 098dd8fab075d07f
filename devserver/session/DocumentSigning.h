// SPDX-License-Identifier: MIT
// Documents signed through an agent.
#pragma once

#include "devserver/documents/PdfUpdate.h"
#include "devserver/documents/XmlSignature.h"
#include "devserver/session/SessionDriver.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

enum class DocumentKind { pdf, xml };

/// The largest document that is signed, in bytes, and the largest that is sent: from a page, or to
/// the agent.
inline constexpr std::size_t largestDocument = std::size_t{512} << 20;
inline constexpr std::size_t largestSent = std::size_t{100} << 20;
/// "larger than 100 MiB", as a sentence.
std::string tooLargeText(std::size_t limit);

/// A document, and how it is to be signed.
struct DocumentOrder {
    DocumentKind kind = DocumentKind::pdf;
    std::string digest; // of the certificate
    std::string document;
    bool isSent = false; // to the agent too, which only sends a PDF back
    bool isRepaired = false; // a damaged PDF is written anew first
    PdfOptions pdf = {};
    XmlOptions xml = {};
    std::optional<XmlSignature> begun = {}; // for XML, by `refusalOf`; it has the document then
};

struct DocumentRefusal {
    std::string reason;
    bool canBeRepaired = false; // a copy written anew can be signed
};

/// Why a document cannot be signed, whatever the certificate; nothing when it can. One that is to
/// be repaired, and needs it, is.
std::optional<DocumentRefusal> refusalOf(DocumentOrder& order);

/// Has the agent sign; the signed file, on success.
StepResult signDocument(SessionDriver& driver, DocumentOrder order, std::string& signedDocument);

} // namespace devserver
