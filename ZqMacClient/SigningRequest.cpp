// SPDX-License-Identifier: MIT
#include "ZqMacClient/SigningRequest.h"

#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "foundation/Base64.h"
#include "platform/Platform.h"

#include <algorithm>

using platform::fatalError;

namespace {

constexpr const char* malformed = "Malformed message received";

} // namespace

const JsonObject& signingPayload(const ZqMessage& message) {
    if (!message.payload()) {
        ZqError(malformed, "Message payload missing").showAndExit();
    }
    const auto* payload = message.payload()->as<JsonObject>();
    if (payload == nullptr) {
        fatalError("the payload of a signing command is not an object");
    }
    return *payload;
}

const JsonText& requiredText(
    const JsonObject& payload, std::string_view key, const char* detailsWhenMissing) {
    const JsonText* text = optionalText(payload, key);
    if (text == nullptr) {
        ZqError(malformed, detailsWhenMissing).showAndExit();
    }
    return *text;
}

const JsonText* optionalText(const JsonObject& payload, std::string_view key) {
    const JsonValue* value = payload.find(key);
    if (value == nullptr) {
        return nullptr;
    }
    const auto* text = value->as<JsonText>();
    if (text == nullptr) {
        fatalError("\"" + std::string(key) + "\" of a signing command is not text");
    }
    return text;
}

const JsonText& signatureAlgorithmOf(const JsonObject& payload) {
    const JsonText* algorithm = optionalText(payload, "signatureAlgorithm");
    if (algorithm == nullptr) {
        fatalError("a signing command has no \"signatureAlgorithm\"");
    }
    return *algorithm;
}

const ZqCertificate& signingCertificate(
    const std::vector<ZqCertificate>& certificates, std::string_view digest) {
    const auto found = std::find_if(certificates.begin(), certificates.end(),
        [&](const ZqCertificate& certificate) { return certificate.certificateDigest == digest; });
    if (found == certificates.end()) {
        const std::string message = "Signing certificate not found in user keychain";
        const std::string label = "Certificate digest: ";
        ZqError(message, label + std::string(digest))
            .logAs(message, label + ZqLogPrivacy::text(digest))
            .showAndExit();
    }
    return *found;
}

Bytes signingDigest(const ZqKeychainAccess& keychain, BytesView data, std::string_view algorithm) {
    if (algorithm == "SHA256withRSA") {
        const auto digest = keychain.sha256(data);
        return {digest.begin(), digest.end()};
    }
    const auto digest = keychain.sha1(data);
    return {digest.begin(), digest.end()};
}

JsonValue base64OrNull(const std::optional<Bytes>& bytes) {
    return bytes ? JsonValue(base64Encoded(*bytes)) : JsonValue(nullptr);
}

const std::string& certificateText(const ZqCertificate& certificate) {
    if (!certificate.certificate) {
        fatalError("the signing certificate was listed without its bytes");
    }
    return *certificate.certificate;
}

JsonValue requestIdValue(const ZqMessage& message) {
    return message.requestId() ? *message.requestId() : JsonValue(nullptr);
}
