// SPDX-License-Identifier: MIT
// Documents signed through an agent.
#pragma once

#include "devserver/session/SessionDriver.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

enum class DocumentKind { pdf, xml };

/// The largest document that is signed, in bytes.
inline constexpr std::size_t largestDocument = std::size_t{100} << 20;
/// "larger than 100 MiB", as a sentence.
std::string tooLargeText();

/// Why a document cannot be signed, whatever the certificate; nothing when it can.
std::optional<std::string> refusalOf(DocumentKind kind, std::string_view document);

/// A document, and how it is to be signed.
struct DocumentOrder {
    DocumentKind kind = DocumentKind::pdf;
    std::string digest; // of the certificate
    std::string document;
    bool isSent = false; // to the agent too, which only sends a PDF back
};

/// Has the agent sign; the signed file, on success.
StepResult signDocument(
    SessionDriver& driver, const DocumentOrder& order, std::string& signedDocument);

} // namespace devserver
