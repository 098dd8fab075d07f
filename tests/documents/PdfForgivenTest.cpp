// SPDX-License-Identifier: MIT
// What stands in many files although no rule allows it, and is signed all the same; and what can be
// written anew first.
#include "tests/documents/PdfSigning.h"
#include "tests/documents/RawPdf.h"
#include "tests/documents/TestPdf.h"
#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>

namespace {

using devserver::PdfOptions;
using devserver::PdfRefusal;
using devserver::repairedPdf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(PdfForgivenTest, TableThatCountsFromOne) {
    RawPdf raw;
    raw.firstNumber = 1;
    const std::string result = signedPdfOf(raw.text());
    EXPECT_EQ(qpdfCheck(result).status, 0) << qpdfCheck(result).output;
}

TEST(PdfForgivenTest, BlankLinesBeforeTheTable) {
    const std::string manyBlanks(1000, ' '); // the right number has a digit more
    for (const char* blanks : {"\n\n", "\r\n \r\n", "% a comment\n", manyBlanks.c_str()}) {
        RawPdf raw;
        raw.beforeTable = blanks;
        std::string moved = raw.text(); // "startxref" leads to the blanks
        signedPdfOf(moved);
    }
}

TEST(PdfForgivenTest, BytesBehindTheEndMark) {
    for (const std::size_t count : {1U, 1100U, 100000U}) {
        RawPdf raw;
        raw.behind = std::string(count, '\n');
        signedPdfOf(raw.text());
        raw.behind = std::string(count, '\0') + "end";
        signedPdfOf(raw.text());
    }
}

TEST(PdfForgivenTest, BytesBeforeTheHeader) {
    for (const char* before : {"\n", "\xEF\xBB\xBF", "HTTP/1.1 200 OK\r\n\r\n"}) {
        for (const bool hasStream : {false, true}) {
            RawPdf raw;
            raw.before = before;
            raw.hasStream = hasStream;
            signedPdfOf(raw.text());
        }
    }
}

TEST(PdfForgivenTest, DamagedDocumentIsWrittenAnewOnRequest) {
    RawPdf raw;
    raw.objects[6] = "<< /Title (x) >>";
    std::string pdf = raw.text();
    pdf.insert(pdf.find("4 0 obj"), "\n% all that follows has moved\n");
    EXPECT_EQ(pdfRefusalOf(pdf),
        "the PDF is damaged: the table that tells where its parts are is missing or broken");
    EXPECT_TRUE(devserver::pdfRefusal(pdf, {})->isDamage);
    const std::string repaired = repairedPdf(pdf, "");
    EXPECT_EQ(qpdfCheck(repaired).status, 0);
    expectSamePictures(pdf, repaired);
    signedPdfOf(repaired);
}

TEST(PdfForgivenTest, DamagedDocumentThatIsSignedIsNotWrittenAnew) {
    std::string pdf = signedPdfOf(RawPdf().text());
    pdf.insert(pdf.find("4 0 obj"), "\n% all that follows has moved\n");
    EXPECT_THROW(repairedPdf(pdf, ""), PdfRefusal);
}

TEST(PdfForgivenTest, ReasonAndLocationAreToldByTheSignature) {
    PdfOptions options;
    options.reason = "I (and no other) agree \\";
    options.location = "M\xC3\xBCnchen \xE2\x82\xAC \xF0\x9F\x96\x8B";
    const std::string tail = updateOf(makePdf(), options);
    EXPECT_THAT(tail,
        HasSubstr("/Reason <492028616e64206e6f206f746865722920616772656520"
                  "5c>"));
    EXPECT_THAT(
        tail, HasSubstr("/Location <feff004d00fc006e006300680065006e002020ac0020d83ddd8b>"));
}

} // namespace
