// SPDX-License-Identifier: MIT
// Encrypted documents: the update is encrypted like the rest, the signature is not.
#include "tests/documents/PdfSigning.h"
#include "tests/documents/TestPdf.h"
#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

namespace {

using devserver::PdfOptions;

struct Encryption {
    const char* name;
    void (*apply)(QPDFWriter&, const char* user);
};

constexpr Encryption encryptions[] = {
    {"RC4, 40 bits",
        [](QPDFWriter& writer, const char* user) {
            writer.setR2EncryptionParametersInsecure(user, "owner", true, true, true, true);
        }},
    {"RC4, 128 bits",
        [](QPDFWriter& writer, const char* user) {
            writer.setR3EncryptionParametersInsecure(
                user, "owner", true, true, true, true, true, true, qpdf_r3p_full);
        }},
    {"AES, 128 bits",
        [](QPDFWriter& writer, const char* user) {
            writer.setR4EncryptionParametersInsecure(
                user, "owner", true, true, true, true, true, true, qpdf_r3p_full, true, true);
        }},
    {"AES, 256 bits",
        [](QPDFWriter& writer, const char* user) {
            writer.setR6EncryptionParameters(
                user, "owner", true, true, true, true, true, true, qpdf_r3p_full, true);
        }},
};

std::string encryptedPdf(const Encryption& encryption, const char* user, bool hasXrefStream) {
    return makePdf(PdfForm()
                       .withXrefStream(hasXrefStream)
                       .changed([](QPDF& pdf) {
                           pdf.getRoot().replaceKey("/Lang", QPDFObjectHandle::newString("de-DE"));
                           auto form = QPDFObjectHandle::parse("<< /DA (/Helv 0 Tf) >>");
                           auto field = pdf.makeIndirectObject(
                               QPDFObjectHandle::parse("<< /FT /Tx /T (Signature1) /V (text) >>"));
                           form.replaceKey("/Fields", QPDFObjectHandle::newArray({field}));
                           pdf.getRoot().replaceKey("/AcroForm", pdf.makeIndirectObject(form));
                       })
                       .written([&encryption, user, hasXrefStream](QPDFWriter& writer) {
                           writer.setStaticID(true);
                           encryption.apply(writer, user);
                           writer.setObjectStreamMode(
                               hasXrefStream ? qpdf_o_generate : qpdf_o_disable);
                       }));
}

TEST(PdfEncryptedTest, UpdateIsEncryptedLikeTheRest) {
    for (const Encryption& encryption : encryptions) {
        for (const char* user : {"", "secret"}) {
            for (const bool hasXrefStream : {false, true}) {
                SCOPED_TRACE(encryption.name + std::string(" ") + user);
                PdfOptions options;
                options.password = user;
                options.reason = "The reason";
                const std::string pdf = encryptedPdf(encryption, user, hasXrefStream);
                const std::string result = signedPdfOf(pdf, options);
                EXPECT_EQ(result.find("The reason"), std::string::npos);
                EXPECT_EQ(result.find("Signature2"), std::string::npos);
                EXPECT_EQ(qpdfCheck(result, user).status, 0) << qpdfCheck(result, user).output;
                QPDF read;
                read.processMemoryFile("signed", result.data(), result.size(), user);
                EXPECT_EQ(read.getRoot().getKey("/Lang").getStringValue(), "de-DE");
                auto form = read.getRoot().getKey("/AcroForm");
                EXPECT_EQ(form.getKey("/DA").getStringValue(), "/Helv 0 Tf");
                auto field = form.getKey("/Fields").getArrayItem(1);
                EXPECT_EQ(field.getKey("/T").getUTF8Value(), "Signature2");
                EXPECT_EQ(field.getKey("/V").getKey("/Reason").getUTF8Value(), "The reason");
            }
        }
    }
}

TEST(PdfEncryptedTest, OwnersPasswordOpensToo) {
    PdfOptions options;
    options.password = "owner";
    std::string error;
    const std::string pdf = encryptedPdf(encryptions[3], "secret", true);
    EXPECT_EQ(pdfRefusalOf(pdf, options), "(none)");
}

TEST(PdfEncryptedTest, WithoutThePasswordItIsToldSo) {
    const std::string pdf = encryptedPdf(encryptions[2], "secret", false);
    PdfOptions wrong;
    wrong.password = "wrong";
    for (const PdfOptions& options : {PdfOptions(), wrong}) {
        EXPECT_EQ(pdfRefusalOf(pdf, options),
            "the PDF is encrypted, and this is not its password (or none was given)");
    }
}

TEST(PdfEncryptedTest, EncryptionForCertificatesIsToldAsSuch) {
    std::string pdf = encryptedPdf(encryptions[2], "", false);
    const std::size_t handler = pdf.find("/Filter /Standard");
    ASSERT_NE(handler, std::string::npos);
    pdf.replace(handler, 17, "/Filter /Adb.PkSc");
    EXPECT_THAT(pdfRefusalOf(pdf),
        testing::StartsWith("the PDF is encrypted for the holders of certificates"));
}

} // namespace
