// SPDX-License-Identifier: MIT
#pragma once

#include "foundation/JsonValue.h"
#include "platform/Types.h"

#include <chrono>
#include <optional>
#include <string>

/// One signing identity of the user's keychain. Every field starts absent.
struct ZqCertificate {
    using Date = std::chrono::system_clock::time_point;

    std::optional<std::string> alias; // first common name, or the subject's flat text
    std::optional<std::string> name; // filled like `alias`
    std::optional<std::string> certificateDigest; // Base64 of the SHA-1 of the DER bytes
    std::optional<Date> validFrom; // never filled by the listing
    std::optional<Date> validTo; // never filled by the listing
    std::optional<std::string> issuerDn; // values joined with ", "
    std::optional<std::string> subjectDn; // values joined with ", "
    std::optional<std::string> serialHex; // the serial number's bytes read as UTF-8, not hex
    std::optional<std::string> certificate; // Base64 of the DER bytes, when asked for
    platform::SecCertificateRef certificateRef;
    platform::SecKeyRef privateKeyRef;

    /// The nine members that the server sees, an absent one as null, without the references.
    /// A date is written in UTC as ISO 8601 text.
    JsonObject getDictionary() const;
};
