// SPDX-License-Identifier: MIT
#include "devserver/session/DocumentSigning.h"

#include "devserver/documents/PdfSignature.h"

namespace devserver {

namespace {

StepResult signPdf(SessionDriver& driver, DocumentOrder order, std::string& signedPdf) {
    std::string certificate;
    StepResult result = driver.certificateOf(order.digest, certificate);
    if (!result.ok) {
        return result;
    }
    std::string error;
    std::optional<PdfSignature> signature
        = PdfSignature::begin(std::move(order.document), certificate, order.pdf, error);
    if (!signature) {
        return StepResult::failure(error);
    }
    Signature answer;
    result = driver.signBytes(order.digest, signature->bytesToSign(), answer,
        order.isSent ? std::optional(signature->document()) : std::nullopt);
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

StepResult signXml(SessionDriver& driver, DocumentOrder order, std::string& signedXml) {
    const std::optional<DocumentRefusal> refusal = order.begun ? std::nullopt : refusalOf(order);
    if (refusal) {
        return StepResult::failure(refusal->reason);
    }
    Signature answer;
    StepResult result = driver.signSignedInfo(order.digest, order.begun->signedInfo(), answer);
    if (!result.ok) {
        return result;
    }
    std::string error;
    std::optional<std::string> file
        = order.begun->complete(answer.bytes, answer.certificate, error);
    if (!file) {
        return StepResult::failure(error);
    }
    signedXml = std::move(*file);
    return {true, "an XML document of " + std::to_string(signedXml.size()) + " bytes"};
}

} // namespace

std::string tooLargeText(std::size_t limit) {
    return "the file is larger than " + std::to_string(limit >> 20) + " MiB";
}

std::optional<DocumentRefusal> refusalOf(DocumentOrder& order) {
    const std::size_t limit = order.isSent ? largestSent : largestDocument;
    if (order.document.size() > limit) {
        return DocumentRefusal{tooLargeText(limit)};
    }
    if (order.kind == DocumentKind::xml) {
        std::string error;
        order.begun = XmlSignature::begin(std::move(order.document), order.xml, error);
        return order.begun ? std::nullopt : std::optional(DocumentRefusal{error});
    }
    std::optional<PdfRefusal> refusal = pdfRefusal(order.document, order.pdf);
    if (!refusal || !refusal->isDamage) {
        return refusal ? std::optional(DocumentRefusal{refusal->reason}) : std::nullopt;
    }
    try {
        std::string repaired = repairedPdf(order.document, order.pdf.password);
        const std::optional<PdfRefusal> still = pdfRefusal(repaired, order.pdf);
        if (!still && order.isRepaired) {
            order.document = std::move(repaired);
            return std::nullopt;
        }
        return DocumentRefusal{refusal->reason, !still};
    } catch (const PdfRefusal& other) {
        return DocumentRefusal{other.isDamage ? refusal->reason : other.reason};
    }
}

StepResult signDocument(SessionDriver& driver, DocumentOrder order, std::string& signedDocument) {
    return order.kind == DocumentKind::pdf ? signPdf(driver, std::move(order), signedDocument)
                                           : signXml(driver, std::move(order), signedDocument);
}

} // namespace devserver
