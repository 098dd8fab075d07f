// SPDX-License-Identifier: MIT
// What the two signing services read and decide alike.
#pragma once

#include "ZqMacClient/ZqCertificate.h"
#include "ZqMacClient/ZqKeychainAccess.h"
#include "ZqMacClient/ZqMessage.h"
#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The payload of a signing command. A message without one ends the process with an alert, one that
/// is no object by a fatal error.
const JsonObject& signingPayload(const ZqMessage& message);

/// The text under `key`; ends the process with an alert of the given details when the key is
/// missing, by a fatal error when the value is not text.
const JsonText& requiredText(
    const JsonObject& payload, std::string_view key, const char* detailsWhenMissing);

/// The text under `key`, or null when the key is missing; a fatal error when it is not text.
const JsonText* optionalText(const JsonObject& payload, std::string_view key);

/// The algorithm's name; a fatal error when it is missing or not text.
const JsonText& signatureAlgorithmOf(const JsonObject& payload);

/// The first certificate with this digest; ends the process with an alert when there is none.
const ZqCertificate& signingCertificate(
    const std::vector<ZqCertificate>& certificates, std::string_view digest);

/// SHA-256 for "SHA256withRSA", SHA-1 for any other name.
Bytes signingDigest(const ZqKeychainAccess& keychain, BytesView data, std::string_view algorithm);

/// Base64 of the bytes, or null.
JsonValue base64OrNull(const std::optional<Bytes>& bytes);

/// The certificate's Base64 text, which must be there.
const std::string& certificateText(const ZqCertificate& certificate);

/// The request's id, present in every message that was received.
JsonValue requestIdValue(const ZqMessage& message);
