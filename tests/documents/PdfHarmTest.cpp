// SPDX-License-Identifier: MIT
// What is signed is not changed, whatever state it is in.
#include "devserver/documents/PdfProof.h"

#include "tests/documents/PdfSigning.h"
#include "tests/documents/RawPdf.h"

#include <gmock/gmock.h>

namespace {

using devserver::PdfRefusal;
using testing::HasSubstr;
using testing::Not;

TEST(PdfHarmTest, ReferencesToStreamsOfWrongLengthStay) {
    for (const long long length : {0LL, 3LL, 46LL - 1, 100000LL}) {
        RawPdf raw;
        raw.objects[4] = RawPdf::stream("BT /F1 24 Tf 20 100 Td (Written by hand) Tj ET", length);
        EXPECT_THAT(updateOf(raw.text()), HasSubstr("/Contents 4 0 R")) << length;
    }
    RawPdf raw;
    raw.objects[4] = "<< >>\nstream\nBT /F1 24 Tf 20 100 Td (No length) Tj ET\nendstream";
    EXPECT_THAT(updateOf(raw.text()), HasSubstr("/Contents 4 0 R"));
}

TEST(PdfHarmTest, ObjectsThatAreWrittenAgainKeepTheirText) {
    RawPdf raw;
    raw.objects[3] = "<</Type/Page/Parent 2 0 R % a comment with >> in it\n/MediaBox[0 0 300 200]"
                     "/Contents 4 0 R/Resources<</Font<</F1 5 0 R>>>>/Null null/Missing 99 0 R"
                     "/Odd#20Name (\\)>>\\\\) /Real 1.50000000000000000001 /Hex <4 1>>>";
    const std::string tail = updateOf(raw.text());
    EXPECT_THAT(tail, HasSubstr(raw.objects[3].substr(0, raw.objects[3].size() - 2)));
}

TEST(PdfHarmTest, ObjectsThatDoNotChangeAreNotWrittenAgain) {
    RawPdf raw;
    raw.objects[1].insert(2, " /AcroForm 6 0 R ");
    raw.objects[3].insert(2, " /Annots 7 0 R ");
    raw.objects[6] = "<< /Fields [ ] >>";
    raw.objects[7] = "[ ]";
    const std::string tail = updateOf(raw.text());
    EXPECT_THAT(tail, Not(HasSubstr("1 0 obj")));
    EXPECT_THAT(tail, Not(HasSubstr("3 0 obj")));
    EXPECT_THAT(tail, HasSubstr("6 0 obj\n<< /Fields  [ \n9 0 R ]  \n/SigFlags 3 >>"));
    EXPECT_THAT(tail, HasSubstr("7 0 obj\n[ \n9 0 R ]"));
}

TEST(PdfHarmTest, ArrayOfFieldsAndAnnotationsAtOnceGrowsOnce) {
    RawPdf raw;
    raw.objects[1].insert(2, " /AcroForm << /Fields 6 0 R >> ");
    raw.objects[3].insert(2, " /Annots 6 0 R ");
    raw.objects[6] = "[ ]";
    EXPECT_THAT(updateOf(raw.text()), HasSubstr("6 0 obj\n[ \n8 0 R ]\nendobj"));
}

TEST(PdfHarmTest, TrailerKeepsItsEntries) {
    RawPdf raw;
    raw.objects[6] = "<< /Title (Kept) >>";
    raw.trailer = "/Root 1 0 R /Info 6 0 R /AdditionalStreams [ /application#2Fodt 6 0 R ] "
                  "/Mine << /A 1 >> /ID [ <01> <02> ]";
    for (const bool hasStream : {false, true}) {
        raw.hasStream = hasStream;
        const std::string tail = updateOf(raw.text());
        EXPECT_THAT(tail, HasSubstr("/Info 6 0 R"));
        EXPECT_THAT(tail, HasSubstr("/AdditionalStreams [ /application#2Fodt 6 0 R ]"));
        EXPECT_THAT(tail, HasSubstr("/Mine << /A 1 >>"));
        EXPECT_THAT(tail, HasSubstr("/ID [ <01> <"));
    }
}

TEST(PdfHarmTest, HybridFileKeepsTheObjectsOfItsStream) {
    RawPdf raw;
    raw.hasStream = true;
    const std::string withStream = raw.text();
    const std::size_t stream = withStream.find("6 0 obj\n<< /Type /XRef");
    ASSERT_NE(stream, std::string::npos);
    std::string hybrid = withStream.substr(0, withStream.find("startxref"));
    const std::size_t table = hybrid.size();
    hybrid += "xref\n0 1\n0000000000 65535 f \ntrailer\n<< /Size 7 /Root 1 0 R /XRefStm "
        + std::to_string(stream) + " /AdditionalStreams [ ] >>\nstartxref\n" + std::to_string(table)
        + "\n%%EOF\n";
    const std::string tail = updateOf(hybrid);
    EXPECT_THAT(tail, HasSubstr("/AdditionalStreams [ ]"));
    EXPECT_THAT(tail, Not(HasSubstr("/XRefStm")));
}

TEST(PdfHarmTest, ImpossibleSizesAreRefused) {
    for (const bool hasStream : {false, true}) {
        RawPdf raw;
        raw.hasStream = hasStream;
        for (const int size : {2147483647, 2147483640, 8388609}) {
            raw.size = size;
            EXPECT_EQ(pdfRefusalOf(raw.text()),
                "the PDF is damaged: it says that it has " + std::to_string(size) + " objects");
        }
        raw.size = 1000; // larger than needed is allowed
        EXPECT_THAT(updateOf(raw.text()), HasSubstr("\n1000 0 obj\n"));
    }
}

TEST(PdfHarmTest, AmbiguousObjectsAreRefused) {
    RawPdf raw;
    raw.objects[3].insert(2, " /Annots [ 5 0 R ] /Annots [ ] ");
    EXPECT_EQ(pdfRefusalOf(raw.text()), "the PDF is damaged: a dictionary has /Annots twice");
    raw = RawPdf();
    raw.objects[3].insert(2, " /Annots (text) ");
    EXPECT_EQ(pdfRefusalOf(raw.text()), "the PDF is damaged: its /Annots is no array");
    raw = RawPdf();
    raw.objects[3] = RawPdf::stream("a page that is a stream");
    EXPECT_EQ(
        pdfRefusalOf(raw.text()), "the PDF is damaged: object 3 0 R is not where it should be");
}

TEST(PdfHarmTest, ProofFindsWhatAnUpdateMustNotDo) {
    RawPdf raw;
    raw.trailer += " /Info 5 0 R";
    const std::string pdf = raw.text();
    const auto update = devserver::updateForSignature(pdf, 100, "D:20260101000000Z", {});
    const auto proof = [&](const std::string& from, const std::string& to) {
        devserver::PdfUpdate changed = update;
        const std::size_t found = changed.text.find(from);
        EXPECT_NE(found, std::string::npos) << from;
        changed.text.replace(found, from.size(), to);
        try {
            devserver::proveUpdate(pdf + changed.text, pdf.size(), changed, "");
        } catch (const PdfRefusal& refusal) {
            return refusal.reason;
        }
        return std::string("(none)");
    };
    const std::string start = "the signed PDF was not as it should be, and is not given out: ";
    EXPECT_EQ(proof("/Root", "/Root"), "(none)");
    EXPECT_EQ(
        proof("/Contents 4 0 R", "               "), start + "the entry /Contents would be lost");
    EXPECT_EQ(
        proof("/Contents 4 0 R", "/Contents 5 0 R"), start + "the entry /Contents would change");
    EXPECT_EQ(
        proof("/Annots [ 7 0 R ]", "/Annots [ 6 0 R ]"), start + "the entry /Annots would be new");
    EXPECT_EQ(proof("/Info 5 0 R", "           "), start + "the trailer would lose /Info");
    EXPECT_EQ(proof("/SigFlags 3", "/SigFlags 0"), "(none)"); // of an object that is new
    EXPECT_EQ(proof("/Fields [ 7 0 R ]", "/Fields [ 6 0 R ]"), start + "the field is not there");
    EXPECT_EQ(proof("/V 6 0 R", "/V 5 0 R"), start + "the field has no signature");
    EXPECT_EQ(
        proof("/ByteRange [ 0 1", "/ByteRange [ 0 2"), start + "the signature's range is wrong");
}

TEST(PdfHarmTest, ProofFindsObjectsThatAreTakenAway) {
    const std::string pdf = RawPdf().text();
    auto update = devserver::updateForSignature(pdf, 100, "D:20260101000000Z", {});
    update.changed.clear();
    EXPECT_THROW(devserver::proveUpdate(pdf + update.text, pdf.size(), update, ""), PdfRefusal);
}

} // namespace
