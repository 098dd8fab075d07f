// SPDX-License-Identifier: MIT
#include "devserver/session/DocumentSigning.h"

#include "devserver/documents/PdfSignature.h"
#include "devserver/documents/XmlSignature.h"

namespace devserver {

namespace {

StepResult signPdf(SessionDriver& driver, const DocumentOrder& order, std::string& signedPdf) {
    std::string certificate;
    StepResult result = driver.certificateOf(order.digest, certificate);
    if (!result.ok) {
        return result;
    }
    std::string error;
    std::optional<PdfSignature> signature = PdfSignature::begin(order.document, certificate, error);
    if (!signature) {
        return StepResult::failure(error);
    }
    Signature answer;
    result = driver.signBytes(order.digest, signature->bytesToSign(), answer,
        order.isSent ? std::optional(order.document) : std::nullopt);
    if (!result.ok) {
        return result;
    }
    std::optional<std::string> file = signature->complete(answer.bytes, error);
    if (!file) {
        return StepResult::failure(error);
    }
    signedPdf = std::move(*file);
    return {true, "a PDF of " + std::to_string(signedPdf.size()) + " bytes"};
}

StepResult signXml(SessionDriver& driver, const DocumentOrder& order, std::string& signedXml) {
    std::string error;
    std::optional<XmlSignature> signature = XmlSignature::begin(order.document, error);
    if (!signature) {
        return StepResult::failure(error);
    }
    Signature answer;
    StepResult result = driver.signSignedInfo(order.digest, signature->signedInfo(), answer);
    if (!result.ok) {
        return result;
    }
    std::optional<std::string> file = signature->complete(answer.bytes, answer.certificate, error);
    if (!file) {
        return StepResult::failure(error);
    }
    signedXml = std::move(*file);
    return {true, "an XML document of " + std::to_string(signedXml.size()) + " bytes"};
}

} // namespace

std::string tooLargeText() {
    return "the file is larger than " + std::to_string(largestDocument >> 20) + " MiB";
}

std::optional<std::string> refusalOf(DocumentKind kind, std::string_view document) {
    std::string error;
    const bool canBeSigned = document.size() <= largestDocument
        && (kind == DocumentKind::pdf ? updateForSignature(document, 0, "", error).has_value()
                                      : XmlSignature::begin(document, error).has_value());
    if (canBeSigned) {
        return std::nullopt;
    }
    return error.empty() ? tooLargeText() : error;
}

StepResult signDocument(
    SessionDriver& driver, const DocumentOrder& order, std::string& signedDocument) {
    if (std::optional<std::string> refusal = refusalOf(order.kind, order.document)) {
        return StepResult::failure(std::move(*refusal)); // before the agent is asked for anything
    }
    return order.kind == DocumentKind::pdf ? signPdf(driver, order, signedDocument)
                                           : signXml(driver, order, signedDocument);
}

} // namespace devserver
