// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPdfSigner.h"

#include "tests/support/SigningTest.h"

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::StartsWith;

class ZqPdfSignerTest : public SigningTest {
protected:
    Events signing(const std::string& payload) {
        return eventsOfCommand(
            [](auto* service, auto* client, const auto* message) {
                ZqPdfSigner().signPdf(service, client, message);
            },
            envelope("SIGN_PDF", payload));
    }
    /// A request's payload with the given members between the digest and the algorithm.
    static std::string payload(const std::string& members, const std::string& digest,
        const std::string& algorithm = "SHA256withRSA") {
        return R"({"certificateDigest":")" + digest + "\"," + members + R"(,"signatureAlgorithm":")"
            + algorithm + R"("})";
    }
    static std::string alicesPayload(const std::string& members) {
        return payload(members, digestOf("Alice"));
    }
    static Events beginning(const std::string& payload) {
        return joined(notification("Signing attachment"),
            Events{"log: Signing PDF: Optional(" + payload + ")"});
    }
    static Events inputLines(const std::string& bytes, const std::string& algorithm) {
        return {"log: bytesToSign: " + bytes, "log: privateKey: Optional(<Alice>)",
            "log: signatureAlgorithm: " + algorithm, "log: keychain: ZqMacClient.ZqKeychainAccess"};
    }
    static Events answering(const std::string& document) {
        return sending("SIGN_PDF_RESPONSE",
            R"({"signature":"U0lH","certificate":"QWxpY2U=","pdfToSign":)" + document
                + R"(,"requestId":"q1"})",
            "\"q1\"");
    }
};

TEST_F(ZqPdfSignerTest, ASignedRequestInOrder) {
    const std::string text = alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":"JVBERg==")");
    EXPECT_THAT(signing(text),
        ElementsAreArray(joined(beginning(text), reading({"Alice"}),
            inputLines("Optional(4 bytes)", "SHA256withRSA"), signingWith("Alice"),
            Events{R"(log: PDF successfully signed: Optional("U0lH"))"},
            answering("\"JVBERg==\""))));
}

TEST_F(ZqPdfSignerTest, AFailedSigningInOrder) {
    memory.security().signature = {std::nullopt, "no"};
    const std::string text = payload(R"("bytesToSign":"ZGF0YQ==")", digestOf("Alice"), "RSA");
    EXPECT_THAT(signing(text),
        ElementsAreArray(joined(beginning(text), reading({"Alice"}),
            inputLines("Optional(4 bytes)", "RSA"), signingWith("Alice"),
            Events{"print: Error creating signature: Optional(no)",
                "log: PDF successfully signed: nil"},
            sending("SIGN_PDF_RESPONSE",
                R"({"signature":null,"certificate":"QWxpY2U=","pdfToSign":null,"requestId":"q1"})",
                "\"q1\""))));
}

TEST_F(ZqPdfSignerTest, UnknownCertificateInOrder) {
    const std::string text = payload(R"("bytesToSign":"ZGF0YQ==")", "unknown");
    EXPECT_THAT(signing(text),
        ElementsAreArray(joined(beginning(text), reading({"Alice"}),
            fatalAlert(
                "Signing certificate not found in user keychain", "Certificate digest: unknown"))));
}

TEST_F(ZqPdfSignerTest, MissingBytesAreAMalformedMessageInTheseWords) {
    const std::string text = alicesPayload(R"("pdfToSign":"JVBERg==")");
    EXPECT_THAT(signing(text),
        ElementsAreArray(joined(
            beginning(text), fatalAlert("Malformed message received", "PDF bytes to sign"))));
}

TEST_F(ZqPdfSignerTest, NotificationIsShownBeforeARequestIsRejected) {
    signing("{}");
    EXPECT_EQ(memory.userInterface().notifications.back().title, "Signing attachment");
    EXPECT_EQ(memory.userInterface().notifications.back().informativeText, "Quillet");
    EXPECT_THAT(memory.userInterface().statusText, testing::EndsWith("Signing attachment\n"));
}

TEST_F(ZqPdfSignerTest, UndecodableBytesStopTheProgramOnlyAfterTheCertificateSearch) {
    for (const std::string bytes : {"ZGF0\\nYQ==", "ZGF0YQ==\\n", " ZGF0YQ==", "ZGF0YQ",
             "ZGF0YQ=", "ZGF0YQ==ZGF0", "ZGF0-Q==", "=", "Z"}) {
        const std::string text = alicesPayload(R"("bytesToSign":")" + bytes + '"');
        EXPECT_THAT(signing(text),
            AbortsAfter(
                joined(beginning(text), reading({"Alice"}), inputLines("nil", "SHA256withRSA"))))
            << bytes;
    }
    EXPECT_THAT(signing(payload(R"("bytesToSign":"Z")", "unknown")),
        Contains(StartsWith("alert: Signing certificate not found in user keychain")));
}

TEST_F(ZqPdfSignerTest, EmptyBytesAreSigned) {
    EXPECT_THAT(signing(alicesPayload(R"("bytesToSign":"")")),
        Contains("log: bytesToSign: Optional(0 bytes)"));
    EXPECT_THAT(
        memory.security().signatures.at(0).data, ElementsAreArray(referenceSha256(BytesView())));
}

TEST_F(ZqPdfSignerTest, WithoutDocumentTheAnswersIsNull) {
    const Events events = signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==")"));
    EXPECT_EQ(Events(events.end() - 2, events.end()), answering("null"));
}

TEST_F(ZqPdfSignerTest, UndecodableDocumentIsAnsweredWithNull) {
    const Events events
        = signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":"JVBE\nRg==")"));
    EXPECT_EQ(Events(events.end() - 2, events.end()), answering("null"));
}

TEST_F(ZqPdfSignerTest, DocumentWithUnusedBitsComesBackCanonical) {
    const Events events = signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":"QR==")"));
    EXPECT_EQ(Events(events.end() - 2, events.end()), answering("\"QQ==\""));
}

TEST_F(ZqPdfSignerTest, EmptyDocumentIsAnsweredWithEmptyText) {
    const Events events = signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":"")"));
    EXPECT_EQ(Events(events.end() - 2, events.end()), answering("\"\""));
}

TEST_F(ZqPdfSignerTest, LongDocumentComesBackWithoutLineBreaks) {
    Bytes document;
    for (int i = 0; i < 100000; ++i) {
        document.push_back(static_cast<std::uint8_t>(i * 7));
    }
    const std::string text = base64Encoded(document);
    const Events events
        = signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":")" + text + '"'));
    EXPECT_EQ(Events(events.end() - 2, events.end()), answering('"' + text + '"'));
}

TEST_F(ZqPdfSignerTest, DocumentThatIsNoTextStopsTheProgram) {
    for (const std::string value : {"null", "1", "{}"}) {
        const std::string text = alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":)" + value);
        EXPECT_THAT(signing(text), AbortsAfter(beginning(text)));
    }
}

TEST_F(ZqPdfSignerTest, DocumentDoesNotEnterTheSignature) {
    signing(alicesPayload(R"("bytesToSign":"ZGF0YQ==","pdfToSign":"JVBERg==")"));
    EXPECT_THAT(memory.security().signatures.at(0).data,
        ElementsAreArray(referenceSha256(bytesOf("data"))));
}

TEST_F(ZqPdfSignerTest, DigestsAreThoseOfTheKeychain) {
    const BytesView data = bytesOf("abc");
    EXPECT_EQ(ZqPdfSigner().sha1(data), referenceSha1(data));
    EXPECT_EQ(ZqPdfSigner().sha256(data), referenceSha256(data));
}

} // namespace
