// SPDX-License-Identifier: MIT
#include "devserver/server/Envelope.h"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace devserver::test {
namespace {

namespace json = boost::json;

TEST(EnvelopeTest, AbsentPartsAreLeftOutAndNullOnesWritten) {
    EXPECT_EQ(envelopeText("A", std::nullopt, std::nullopt), R"({"command":"A"})");
    EXPECT_EQ(envelopeText("A", json::value(nullptr), json::value(nullptr)),
        R"({"command":"A","payload":null,"requestId":null})");
    EXPECT_EQ(envelopeText("\"", json::object{{"k", 1}}, "r\n"),
        R"({"command":"\"","payload":{"k":1},"requestId":"r\n"})");
}

TEST(EnvelopeTest, LongTextsAreFoldedWhereverTheyStand) {
    const std::string beginning(48, 'A');
    const std::string text
        = envelopeText("A", json::object{{"k", json::array{std::string(1000, 'A')}}}, std::nullopt);
    EXPECT_EQ(foldedEnvelope(text),
        R"#({"command":"A","payload":{"k":[")#" + beginning + R"#(... (1000 bytes)"]}})#");
    const std::string shortText = envelopeText("A", json::value(std::string(100, 'A')), 7);
    EXPECT_EQ(foldedEnvelope(shortText), shortText);
}

TEST(EnvelopeTest, FoldingKeepsUtf8WholeAndTextOnOneLine) {
    std::string text(47, 'A');
    for (int i = 0; i < 100; ++i) {
        text += "\xC3\xA4";
    }
    EXPECT_EQ(foldedEnvelope(text), std::string(47, 'A') + "... (247 bytes)");
    EXPECT_EQ(foldedEnvelope("no\nJSON"), "no JSON");
}

TEST(EnvelopeTest, JsonIsReadTo512Levels) {
    EXPECT_TRUE(parsedJson(std::string(512, '[') + std::string(512, ']')));
    EXPECT_FALSE(parsedJson("{\"a\":1}x"));
    EXPECT_FALSE(parsedJson(""));
}

TEST(EnvelopeTest, PdfPayloadCarriesTheDocumentOnlyWhenThereIsOne) {
    EXPECT_EQ(json::serialize(signPdfPayload("D", "[]", std::nullopt, "SHA256withRSA")),
        R"({"certificateDigest":"D","bytesToSign":"W10=","signatureAlgorithm":"SHA256withRSA"})");
    EXPECT_EQ(json::serialize(signPdfPayload("D", "[]", "a", "X")),
        R"({"certificateDigest":"D","bytesToSign":"W10=","pdfToSign":"YQ==",)"
        R"("signatureAlgorithm":"X"})");
}

} // namespace
} // namespace devserver::test
