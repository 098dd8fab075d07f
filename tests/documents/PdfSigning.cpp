// SPDX-License-Identifier: MIT
#include "tests/documents/PdfSigning.h"

#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>

using devserver::PdfOptions;
using devserver::PdfSignature;

const TestSigner& pdfSigner() {
    static const TestSigner instance;
    return instance;
}

std::string pdfRefusalOf(std::string_view pdf, const PdfOptions& options) {
    const auto refusal = devserver::pdfRefusal(pdf, options);
    return refusal ? refusal->reason : "(none)";
}

std::string signedPdfOf(std::string_view pdf, const PdfOptions& options) {
    std::string error;
    auto signature
        = PdfSignature::begin(std::string(pdf), pdfSigner().certificateDer(), options, error);
    const auto result = signature
        ? signature->complete(pdfSigner().sign(signature->bytesToSign()), error)
        : std::nullopt;
    EXPECT_TRUE(result) << error;
    if (!result) {
        return "";
    }
    EXPECT_EQ(std::string_view(*result).substr(0, pdf.size()), pdf);
    const PdfSigVerdict verdict = pdfsig(*result, options.password);
    EXPECT_THAT(verdict.validations, testing::ElementsAre("Signature is Valid.")) << verdict.output;
    EXPECT_TRUE(verdict.lastCoversDocument) << verdict.output;
    const Outcome openssl = opensslCms(*result, pdfSigner());
    EXPECT_EQ(openssl.status, 0) << openssl.output;
    expectSamePictures(pdf, *result, options.password);
    return *result;
}

void expectSamePictures(
    std::string_view before, std::string_view after, const std::string& password) {
    for (const Renderer renderer : {Renderer::poppler, Renderer::mupdf}) {
        const std::string shown = pictures(renderer, before, password);
        if (renderer == Renderer::poppler) { // mupdf does not forgive everything
            EXPECT_NE(shown, noPictures);
        }
        if (shown != noPictures) {
            EXPECT_EQ(pictures(renderer, after, password), shown);
        }
    }
}

std::string updateOf(std::string_view pdf, const PdfOptions& options) {
    std::string result = signedPdfOf(pdf, options);
    if (!result.empty()) {
        result.erase(0, pdf.size());
        const std::size_t contents = result.find("/Contents <3");
        result.erase(contents, result.find('>', contents) - contents);
    }
    return result;
}
