// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPdfSigner.h"

#include "ZqMacClient/SigningRequest.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "ZqMacClient/ZqNotification.h"
#include "foundation/Base64.h"
#include "platform/Platform.h"

#include <utility>

using platform::fatalError;
using platform::NSLog;

void ZqPdfSigner::signPdf(
    CRVStompClient* service, ZqClient* client, const ZqMessage* message) const {
    ZqNotification("Signing attachment", "Quillet").show();
    if (message == nullptr) {
        fatalError("there is no message to take a PDF from");
    }
    ZqLogPrivacy::addPayload(LogLine().add("Signing PDF: "), message->payload()).write();
    const JsonObject& payload = signingPayload(*message);
    const JsonText& digest
        = requiredText(payload, "certificateDigest", "Certificate digest missing");
    auto bytesToSign
        = base64Decoded(requiredText(payload, "bytesToSign", "PDF bytes to sign").view());
    // Only its text is needed: decoding and encoding it again gives this one.
    std::optional<JsonText> pdfToSign;
    if (const JsonText* text = optionalText(payload, "pdfToSign")) {
        pdfToSign = base64Canonical(*text);
    }
    const std::string algorithm(signatureAlgorithmOf(payload).view());

    ZqConsent* const consent = client == nullptr ? nullptr : client->consent();
    if (consent != nullptr) {
        consent->beforeSigning(bytesToSign ? BytesView(*bytesToSign) : BytesView(), algorithm);
    }
    const ZqKeychainAccess keychain;
    const auto certificates = keychain.listCertificates(/*withRawValues=*/true);
    const ZqCertificate& certificate = signingCertificate(certificates, digest.view());
    LogLine().add("bytesToSign: ").addOptional(bytesToSign).write();
    NSLog("privateKey: ", debugDescription(certificate.privateKeyRef));
    NSLog("signatureAlgorithm: ", ZqLogPrivacy::name(algorithm));
    NSLog("keychain: ", keychain.description());
    if (!bytesToSign) {
        fatalError("\"bytesToSign\" is not Base64");
    }
    if (consent != nullptr) {
        consent->beforeSignature(certificate, *bytesToSign);
    }
    const auto signature = keychain.signData(
        signingDigest(keychain, *bytesToSign, algorithm), certificate.privateKeyRef, algorithm);
    if (consent != nullptr) {
        consent->afterUse();
    }
    JsonValue signatureText = base64OrNull(signature);
    ZqLogPrivacy::addOptionalText(LogLine().add("PDF successfully signed: "), signatureText)
        .write();

    bytesToSign.reset(); // may be tens of megabytes
    JsonObject answer;
    answer.add("signature", std::move(signatureText));
    answer.add("certificate", certificateText(certificate));
    answer.add("pdfToSign", pdfToSign ? JsonValue(*pdfToSign) : JsonValue(nullptr));
    answer.add("requestId", requestIdValue(*message));
    const ZqMessage response("SIGN_PDF_RESPONSE", std::move(answer), message->requestId());
    if (client == nullptr) {
        fatalError("there is no session to answer through");
    }
    client->send(service, &response);
}

std::array<std::uint8_t, 20> ZqPdfSigner::sha1(BytesView data) const {
    return ZqKeychainAccess().sha1(data);
}

std::array<std::uint8_t, 32> ZqPdfSigner::sha256(BytesView data) const {
    return ZqKeychainAccess().sha256(data);
}
