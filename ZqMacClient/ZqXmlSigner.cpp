// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqXmlSigner.h"

#include "ZqMacClient/SigningRequest.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "ZqMacClient/ZqNotification.h"
#include "foundation/Base64.h"
#include "platform/Platform.h"

#include <utility>

using platform::fatalError;

void ZqXmlSigner::signXml(
    CRVStompClient* service, ZqClient* client, const ZqMessage* message) const {
    ZqNotification("Signing document", "Quillet").show();
    if (message == nullptr) {
        fatalError("there is no message to take XML from");
    }
    ZqLogPrivacy::addPayload(LogLine().add("Signing XML document: "), message->payload()).write();
    const JsonObject& payload = signingPayload(*message);
    const JsonText& digest
        = requiredText(payload, "certificateDigest", "Certificate digest missing");
    const JsonText& signedInfo = requiredText(payload, "xmlSignedInfo", "XML signed info missing");
    const std::string algorithm(signatureAlgorithmOf(payload).view());
    ZqLogPrivacy::addText(LogLine().add("xmlSignedInfo: "), signedInfo).write();

    ZqConsent* const consent = client == nullptr ? nullptr : client->consent();
    if (consent != nullptr) {
        consent->beforeSigning(bytesOf(signedInfo.view()), algorithm);
    }
    const ZqKeychainAccess keychain;
    const auto certificates = keychain.listCertificates(/*withRawValues=*/true);
    const ZqCertificate& certificate = signingCertificate(certificates, digest.view());
    if (consent != nullptr) {
        consent->beforeSignature(certificate, bytesOf(signedInfo.view()));
    }
    // Byte for byte as received: no canonicalisation, no trimming.
    const Bytes signedInfoDigest = signingDigest(keychain, bytesOf(signedInfo.view()), algorithm);
    LogLine()
        .add("xmlSignedInfo digest: ")
        .addOptional(std::optional(base64Encoded(signedInfoDigest)))
        .write();
    const auto signature
        = keychain.signData(signedInfoDigest, certificate.privateKeyRef, algorithm);
    if (consent != nullptr) {
        consent->afterUse();
    }
    JsonValue signatureText = base64OrNull(signature);
    ZqLogPrivacy::addOptionalText(LogLine().add("XML successfully signed: "), signatureText)
        .write();

    JsonObject answer;
    answer.add("signature", std::move(signatureText));
    answer.add("xmlSignedInfo", signedInfo);
    answer.add("certificate", certificateText(certificate));
    answer.add("requestId", requestIdValue(*message));
    const ZqMessage response("SIGN_XML_RESPONSE", std::move(answer), message->requestId());
    if (client == nullptr) {
        fatalError("there is no session to answer through");
    }
    client->send(service, &response);
}

std::array<std::uint8_t, 20> ZqXmlSigner::sha1(BytesView data) const {
    return ZqKeychainAccess().sha1(data);
}

std::array<std::uint8_t, 32> ZqXmlSigner::sha256(BytesView data) const {
    return ZqKeychainAccess().sha256(data);
}
