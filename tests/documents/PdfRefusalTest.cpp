// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfSignature.h"

#include "tests/documents/TestPdf.h"

#include <gmock/gmock.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

namespace {

using testing::StartsWith;

/// Why a document is not signed.
std::string refusalOf(std::string_view pdf) {
    const auto refusal = devserver::pdfRefusal(pdf, {});
    return refusal ? refusal->reason : "(none)";
}

TEST(PdfRefusalTest, WhatIsNoPdf) {
    EXPECT_EQ(refusalOf(""), "this is not a PDF");
    EXPECT_EQ(refusalOf("<html></html>"), "this is not a PDF");
    EXPECT_EQ(refusalOf(std::string(100000, 'x')), "this is not a PDF");
    EXPECT_EQ(refusalOf(std::string(2000, '\n') + makePdf()), "this is not a PDF");
}

TEST(PdfRefusalTest, DamagedDocuments) {
    const std::string pdf = makePdf();
    EXPECT_THAT(refusalOf(pdf.substr(0, pdf.size() / 2)), StartsWith("the PDF is damaged: "));
    EXPECT_THAT(refusalOf("%PDF-1.7\n"), StartsWith("the PDF is damaged: "));
    std::string moved = pdf; // every offset is wrong
    moved.insert(moved.find('\n') + 1, "%%%%%%%%%%%%%%%%%%%%%%%%%%%%%%%%\n");
    EXPECT_THAT(refusalOf(moved), StartsWith("the PDF is damaged: "));
    std::string noStart = pdf;
    noStart.replace(noStart.rfind("startxref"), 9, "startxxxx");
    EXPECT_THAT(refusalOf(noStart), StartsWith("the PDF is damaged: "));
}

TEST(PdfRefusalTest, DocumentWithoutPages) {
    EXPECT_EQ(refusalOf(makePdf(PdfForm().withPages(0))), "the PDF has no page that can be read");
}

TEST(PdfRefusalTest, PageTreeThatHoldsItself) {
    EXPECT_EQ(
        refusalOf(makePdf(
            PdfForm()
                .withPages(0)
                .changed([](QPDF& pdf) {
                    auto pages = pdf.getRoot().getKey("/Pages");
                    pages.replaceKey("/Kids", QPDFObjectHandle::newArray({pages}));
                })
                .written([](QPDFWriter& writer) { writer.setPreserveUnreferencedObjects(true); }))),
        "the PDF has no page that can be read");
}

TEST(PdfRefusalTest, CertifiedDocumentThatAllowsNoChanges) {
    const auto certified = [](int level) {
        return makePdf(PdfForm().changed([level](QPDF& pdf) {
            auto certification = pdf.makeIndirectObject(QPDFObjectHandle::parse(
                "<< /Type /Sig /Reference [ << /TransformMethod /DocMDP /TransformParams << /P "
                + std::to_string(level) + " >> >> ] >>"));
            auto permissions = QPDFObjectHandle::newDictionary();
            permissions.replaceKey("/DocMDP", certification);
            pdf.getRoot().replaceKey("/Perms", permissions);
        }));
    };
    EXPECT_EQ(refusalOf(certified(1)),
        "the PDF is certified by its author, who allows no further signatures");
    EXPECT_EQ(refusalOf(certified(2)), "(none)");
}

TEST(PdfRefusalTest, SignatureThatAllowsNoChanges) {
    const auto locked = [](const std::string& value, int level) {
        return makePdf(PdfForm().changed([&](QPDF& pdf) {
            pdf.getRoot().replaceKey("/AcroForm",
                QPDFObjectHandle::parse(
                    "<< /Fields [ << /FT /Sig /T (First) /Lock << /Type /SigFieldLock "
                    "/Action /All /P "
                    + std::to_string(level) + " >> " + value + " >> ] >>"));
        }));
    };
    const std::string signature = "/V << /Type /Sig >>";
    EXPECT_EQ(refusalOf(locked(signature, 1)),
        "the PDF has a signature that allows no further signatures");
    EXPECT_EQ(refusalOf(locked(signature, 2)), "(none)");
    EXPECT_EQ(refusalOf(locked("", 1)), "(none)"); // nobody has signed there
}

TEST(PdfRefusalTest, NoByteOfATruncatedOrChangedDocumentDoesHarm) {
    const std::string pdf = makePdf(PdfForm().withXrefStream());
    const std::size_t whole = pdf.rfind("\n%%EOF"); // what is behind is not needed
    for (std::size_t length = 0; length < whole; ++length) {
        EXPECT_NE(refusalOf(pdf.substr(0, length)), "(none)") << length;
    }
    for (std::size_t i = 0; i < pdf.size(); ++i) {
        std::string changed = pdf;
        changed[i] = static_cast<char>(changed[i] ^ 0x11);
        refusalOf(changed); // signed or refused, but it returns
    }
}

} // namespace
