// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqXmlSigner.h"

#include "foundation/JsonReader.h"
#include "foundation/JsonWriter.h"
#include "tests/support/SigningTest.h"

namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;

class ZqXmlSignerTest : public SigningTest {
protected:
    Events signing(const std::string& payload) {
        return eventsOfCommand(
            [](auto* service, auto* client, const auto* message) {
                ZqXmlSigner().signXml(service, client, message);
            },
            envelope("SIGN_XML", payload));
    }
    /// A request's payload; `signedInfo` is a JSON text.
    static std::string payload(const std::string& signedInfo,
        const std::string& algorithm = "SHA256withRSA",
        const std::string& digest = digestOf("Alice")) {
        return R"({"certificateDigest":")" + digest + R"(","xmlSignedInfo":)" + signedInfo
            + R"(,"signatureAlgorithm":")" + algorithm + R"("})";
    }
    static Events beginning(const std::string& payload) {
        return joined(notification("Signing document"),
            Events{"log: Signing XML document: Optional(" + payload + ")"});
    }
    static std::string quoted(const std::string& text) { return writeJson(text).text.value(); }
};

TEST_F(ZqXmlSignerTest, ASignedRequestInOrder) {
    const std::string text = payload("\"<a/>\"");
    EXPECT_THAT(signing(text),
        ElementsAreArray(
            joined(beginning(text), Events{"log: xmlSignedInfo: <a/>"}, reading({"Alice"}),
                // printf '<a/>' | openssl dgst -sha256 -binary | base64
                Events{"log: xmlSignedInfo digest: "
                       "Optional(\"KRFDY/dJoCJraYjdo8okkqlUEXq2tfOCcGwgMA2rwHk=\")"},
                signingWith("Alice"), Events{R"(log: XML successfully signed: Optional("U0lH"))"},
                sending("SIGN_XML_RESPONSE",
                    R"({"signature":"U0lH","xmlSignedInfo":"<a/>","certificate":"QWxpY2U=",)"
                    R"("requestId":"q1"})",
                    "\"q1\""))));
}

TEST_F(ZqXmlSignerTest, AFailedSigningInOrder) {
    keychain.algorithmSupported = false;
    const std::string text = payload("\"<a/>\"", "RSA");
    EXPECT_THAT(signing(text),
        ElementsAreArray(
            joined(beginning(text), Events{"log: xmlSignedInfo: <a/>"}, reading({"Alice"}),
                // printf '<a/>' | openssl dgst -sha1 -binary | base64
                Events{"log: xmlSignedInfo digest: Optional(\"25qoZjLG8syZaEot0V0rZIKOdiI=\")",
                    "SecKeyIsAlgorithmSupported <Alice>", "print: Unsupported algorithm",
                    "log: XML successfully signed: nil"},
                sending("SIGN_XML_RESPONSE",
                    R"({"signature":null,"xmlSignedInfo":"<a/>","certificate":"QWxpY2U=",)"
                    R"("requestId":"q1"})",
                    "\"q1\""))));
}

TEST_F(ZqXmlSignerTest, UnknownCertificateInOrder) {
    const std::string text = payload("\"<a/>\"", "SHA256withRSA", "unknown");
    EXPECT_THAT(signing(text),
        ElementsAreArray(
            joined(beginning(text), Events{"log: xmlSignedInfo: <a/>"}, reading({"Alice"}),
                fatalAlert("Signing certificate not found in user keychain",
                    "Certificate digest: unknown"))));
}

TEST_F(ZqXmlSignerTest, BytesToSignInsteadOfSignedInfoAreAMalformedMessage) {
    const std::string text = R"({"certificateDigest":"x","bytesToSign":"ZGF0YQ==",)"
                             R"("signatureAlgorithm":"SHA256withRSA"})";
    EXPECT_THAT(signing(text),
        ElementsAreArray(joined(
            beginning(text), fatalAlert("Malformed message received", "XML signed info missing"))));
}

TEST_F(ZqXmlSignerTest, NotificationIsShownBeforeARequestIsRejected) {
    signing("{}");
    EXPECT_EQ(memory.userInterface().notifications.back().title, "Signing document");
    EXPECT_EQ(memory.userInterface().notifications.back().informativeText, "Quillet");
    EXPECT_THAT(memory.userInterface().statusText, testing::EndsWith("Signing document\n"));
}

TEST_F(ZqXmlSignerTest, NonAsciiTextIsHashedAsItsUtf8Bytes) {
    signing(payload(R"("<n>\u00e9\u20ac\ud83d\ude00</n>")"));
    const std::string utf8 = "<n>\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80</n>";
    EXPECT_THAT(keychain.signatures.at(0).data, ElementsAreArray(referenceSha256(bytesOf(utf8))));
}

TEST_F(ZqXmlSignerTest, TextIsHashedAndEchoedCharacterForCharacter) {
    const std::vector<std::string> texts{"", " \t<a  b = 'c'></a>\r\n\r\n",
        "<?xml version=\"1.0\"?>\n<a/>", "\xEF\xBB\xBF<a/>", "e\xCC\x81 \xC3\xA9", "a/b\\c\"d",
        std::string("nul\0nul", 7), "\x7F\x01 \xE2\x80\xA8", "not XML & no Base64"};
    for (const std::string& text : texts) {
        keychain.signatures.clear();
        const Events events = signing(payload(quoted(text)));
        EXPECT_THAT(
            keychain.signatures.at(0).data, ElementsAreArray(referenceSha256(bytesOf(text))));
        const std::string& frame = server().sent.back();
        const std::string body = frame.substr(frame.find("\n\n") + 2);
        const auto answer = readJson(std::string_view(body).substr(0, body.size() - 1));
        const auto* echoed
            = answer.value->as<JsonObject>()->find("payload")->as<JsonObject>()->find(
                "xmlSignedInfo");
        EXPECT_EQ(*echoed->as<JsonText>(), text);
        EXPECT_THAT(events, testing::Contains("log: xmlSignedInfo: " + text));
    }
}

TEST_F(ZqXmlSignerTest, LinesOfThePdfCommandAreNotWritten) {
    const Events events = signing(payload("\"<a/>\""));
    for (const char* const label :
        {"bytesToSign: ", "privateKey: ", "signatureAlgorithm: ", "keychain: "}) {
        EXPECT_THAT(
            events, Not(testing::Contains(testing::StartsWith(std::string("log: ") + label))));
    }
}

TEST_F(ZqXmlSignerTest, ADocumentInTheRequestIsNotEchoed) {
    signing(R"({"certificateDigest":")" + digestOf("Alice")
        + R"(","xmlSignedInfo":"x","pdfToSign":"ZGF0YQ==","signatureAlgorithm":"SHA256withRSA"})");
    EXPECT_THAT(server().sent.back(), Not(HasSubstr("pdfToSign")));
}

TEST_F(ZqXmlSignerTest, DigestsAreThoseOfTheKeychain) {
    const BytesView data = bytesOf("abc");
    EXPECT_EQ(ZqXmlSigner().sha1(data), referenceSha1(data));
    EXPECT_EQ(ZqXmlSigner().sha256(data), referenceSha256(data));
}

} // namespace
