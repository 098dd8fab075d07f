// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfSignature.h"

#include "tests/documents/TestPdf.h"
#include "tests/documents/TestSigner.h"
#include "tests/documents/Verifiers.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

namespace {

using devserver::PdfSignature;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

const TestSigner& signer() {
    static const TestSigner instance;
    return instance;
}

std::string signedPdf(std::string_view pdf, const TestSigner& by = signer()) {
    std::string error;
    std::optional<PdfSignature> signature
        = PdfSignature::begin(std::string(pdf), by.certificateDer(), {}, error);
    if (!signature) {
        ADD_FAILURE() << error;
        return "";
    }
    const std::optional<std::string> result
        = signature->complete(by.sign(signature->bytesToSign()), error);
    EXPECT_TRUE(result) << error;
    return result.value_or("");
}

/// Signs, and has all verifiers agree.
std::string signAndVerify(std::string_view pdf, std::size_t signatures = 1) {
    const std::string result = signedPdf(pdf);
    EXPECT_EQ(std::string_view(result).substr(0, pdf.size()), pdf) << "the original has changed";
    const PdfSigVerdict verdict = pdfsig(result);
    EXPECT_THAT(verdict.validations, SizeIs(signatures)) << verdict.output;
    EXPECT_THAT(verdict.validations, Each("Signature is Valid.")) << verdict.output;
    EXPECT_TRUE(verdict.lastCoversDocument) << verdict.output;
    const Outcome openssl = opensslCms(result, signer());
    EXPECT_EQ(openssl.status, 0) << openssl.output;
    const Outcome qpdf = qpdfCheck(result);
    EXPECT_EQ(qpdf.status, 0) << qpdf.output;
    return result;
}

QPDFObjectHandle parse(const char* text) {
    return QPDFObjectHandle::parse(text);
}

TEST(PdfSignatureTest, DocumentWithTable) {
    const std::string result = signAndVerify(makePdf());
    EXPECT_THAT(result.substr(result.rfind("trailer")), HasSubstr("/Prev "));
}

TEST(PdfSignatureTest, DocumentWithXrefAndObjectStreams) {
    const std::string pdf = makePdf(PdfForm().withXrefStream());
    const std::string result = signAndVerify(pdf);
    EXPECT_EQ(result.find("trailer", pdf.size()), std::string::npos);
}

TEST(PdfSignatureTest, LinearizedDocument) {
    signAndVerify(makePdf(PdfForm().withPages(3).linearized()));
}

TEST(PdfSignatureTest, LinearizedDocumentWithXrefStream) {
    signAndVerify(makePdf(PdfForm().withPages(3).withXrefStream().linearized()));
}

TEST(PdfSignatureTest, LargeDocument) {
    signAndVerify(makePdf(PdfForm().withContent(std::size_t{20} << 20)));
}

TEST(PdfSignatureTest, DocumentWithManyPages) {
    signAndVerify(makePdf(PdfForm().withPages(3000).withXrefStream()));
}

TEST(PdfSignatureTest, OldVersionOfTheFormat) {
    signAndVerify(
        makePdf(PdfForm().written([](QPDFWriter& writer) { writer.forcePDFVersion("1.3"); })));
}

TEST(PdfSignatureTest, DocumentWithoutIdentifierAndLastLineBreak) {
    std::string pdf = makePdf();
    const std::size_t identifier = pdf.rfind("/ID");
    ASSERT_NE(identifier, std::string::npos);
    pdf.replace(identifier, 3, "/XX");
    pdf.erase(pdf.find_last_not_of("\r\n") + 1);
    signAndVerify(pdf);
}

TEST(PdfSignatureTest, SecondAndThirdSignatureLeaveTheFirstValid) {
    for (const bool hasXrefStream : {false, true}) {
        const std::string once = signAndVerify(makePdf(PdfForm().withXrefStream(hasXrefStream)), 1);
        const std::string twice = signAndVerify(once, 2);
        signAndVerify(twice, 3);
    }
}

TEST(PdfSignatureTest, DocumentSignedByAnotherProgram) {
    // The agent's user signs what somebody else has signed with pdfsig.
    const TemporaryFolder folder;
    const std::string in = folder.path().string();
    writeFile(folder / "in.pdf", makePdf());
    const Outcome made = run("mkdir " + in + "/db && certutil -N --empty-password -d sql:" + in
        + "/db && head -c 2048 /dev/urandom >" + in
        + "/noise && certutil -S -x -n other -s "
          "'CN=Other' -t u,u,u -k rsa -g 2048 -z "
        + in + "/noise -d sql:" + in + "/db && pdfsig -add-signature -nssdir sql:" + in
        + "/db -nick other " + in + "/in.pdf " + in + "/out.pdf");
    ASSERT_EQ(made.status, 0) << made.output;
    signAndVerify(contentOf(folder / "out.pdf"), 2);
}

TEST(PdfSignatureTest, EmptyFormWithinTheCatalog) {
    signAndVerify(makePdf(PdfForm().changed(
        [](QPDF& pdf) { pdf.getRoot().replaceKey("/AcroForm", parse("<< /Fields [ ] >>")); })));
}

TEST(PdfSignatureTest, EmptyFormOfItsOwnWithIndirectFields) {
    signAndVerify(makePdf(PdfForm().changed([](QPDF& pdf) {
        auto form = pdf.makeIndirectObject(parse("<< /SigFlags 0 >>"));
        form.replaceKey("/Fields", pdf.makeIndirectObject(parse("[ ]")));
        pdf.getRoot().replaceKey("/AcroForm", form);
    })));
}

TEST(PdfSignatureTest, FormWithFieldsKeepsThemAndItsFieldsGetNewNames) {
    const std::string result = signAndVerify(makePdf(PdfForm().changed([](QPDF& pdf) {
        auto form = parse("<< /Fields [ ] /DA (/Helv 0 Tf) >>");
        for (const char* name : {"(Name)", "(Signature1)"}) {
            auto field = parse("<< /FT /Tx /V (text) /Type /Annot /Subtype /Widget "
                               "/Rect [ 10 10 90 30 ] >>");
            field.replaceKey("/T", parse(name));
            field = pdf.makeIndirectObject(field);
            form.getKey("/Fields").appendItem(field);
        }
        pdf.getRoot().replaceKey("/AcroForm", form);
    })));
    QPDF read;
    read.processMemoryFile("signed", result.data(), result.size());
    auto fields = read.getRoot().getKey("/AcroForm").getKey("/Fields");
    ASSERT_EQ(fields.getArrayNItems(), 3);
    EXPECT_EQ(fields.getArrayItem(0).getKey("/T").getUTF8Value(), "Name");
    EXPECT_EQ(fields.getArrayItem(2).getKey("/T").getUTF8Value(), "Signature2");
}

TEST(PdfSignatureTest, AnnotationsOfThePageAreKept) {
    for (const bool isIndirect : {false, true}) {
        const std::string result = signAndVerify(makePdf(PdfForm().changed([&](QPDF& pdf) {
            auto link = pdf.makeIndirectObject(parse("<< /Type /Annot /Subtype /Link "
                                                     "/Rect [ 1 1 9 9 ] /Border [ 0 0 0 ] >>"));
            auto annotations = QPDFObjectHandle::newArray();
            annotations.appendItem(link);
            QPDFObjectHandle(pdf.getAllPages().at(0))
                .replaceKey(
                    "/Annots", isIndirect ? pdf.makeIndirectObject(annotations) : annotations);
        })));
        QPDF read;
        read.processMemoryFile("signed", result.data(), result.size());
        auto annotations = QPDFObjectHandle(read.getAllPages().at(0)).getKey("/Annots");
        ASSERT_EQ(annotations.getArrayNItems(), 2);
        EXPECT_EQ(annotations.getArrayItem(0).getKey("/Subtype").getName(), "/Link");
        EXPECT_EQ(annotations.getArrayItem(1).getKey("/FT").getName(), "/Sig");
    }
}

TEST(PdfSignatureTest, NestedPageTreeWithAnEmptyBranch) {
    signAndVerify(makePdf(PdfForm().withPages(2).changed([](QPDF& pdf) {
        auto pages = pdf.getRoot().getKey("/Pages");
        auto empty = pdf.makeIndirectObject(parse("<< /Type /Pages /Kids [ ] /Count 0 >>"));
        empty.replaceKey("/Parent", pages);
        auto full = pdf.makeIndirectObject(parse("<< /Type /Pages /Count 2 >>"));
        full.replaceKey("/Kids", pages.getKey("/Kids"));
        full.replaceKey("/Parent", pages);
        for (auto& page : full.getKey("/Kids").getArrayAsVector()) {
            page.replaceKey("/Parent", full);
        }
        pages.replaceKey("/Kids", QPDFObjectHandle::newArray({empty, full}));
    })));
}

TEST(PdfSignatureTest, SampleDocument) {
    signAndVerify(contentOf(DEVSERVER_SAMPLES "/contract.pdf"));
}

TEST(PdfSignatureTest, ChangedByteIsNoticed) {
    std::string result = signedPdf(makePdf());
    result[result.find("/MediaBox") + 13] = '1';
    EXPECT_THAT(pdfsig(result).validations, testing::ElementsAre("Digest Mismatch."));
    EXPECT_NE(opensslCms(result, signer()).status, 0);
}

TEST(PdfSignatureTest, SignatureOfAnotherKeyIsNotTaken) {
    std::string error;
    auto signature = PdfSignature::begin(makePdf(), signer().certificateDer(), {}, error);
    ASSERT_TRUE(signature) << error;
    EXPECT_FALSE(signature->complete(TestSigner("Other").sign(signature->bytesToSign()), error));
    EXPECT_EQ(error,
        "the signature that came back is not one of the bytes sent, by the "
        "certificate's key");
}

} // namespace
