// SPDX-License-Identifier: MIT
// The JSON object that every message of a session is: "command", "payload", "requestId".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/json/value.hpp>

namespace devserver {

/// JSON text as a value, nested up to 512 levels; nothing when it is not JSON.
std::optional<boost::json::value> parsedJson(std::string_view text);

/// The text of an envelope; an absent part is left out, which is not the same as JSON null.
std::string envelopeText(std::string_view command, const std::optional<boost::json::value>& payload,
    const std::optional<boost::json::value>& requestId);

/// A text for people: each JSON string over 100 characters shrunk to its beginning and length, and
/// a text that is not JSON cut likewise. On one line.
std::string foldedEnvelope(std::string_view text);

/// The payload of GET_DIAGNOSTICS and LIST_CERTIFICATES is absent; those of the signing commands
/// are made here. `bytes` and `document` are encoded in Base64; `digest` names the certificate.
boost::json::object signPdfPayload(std::string_view digest, std::string_view bytes,
    const std::optional<std::string>& document, std::string_view algorithm);
boost::json::object signXmlPayload(
    std::string_view digest, std::string_view signedInfo, std::string_view algorithm);

} // namespace devserver
