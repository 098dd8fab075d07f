// SPDX-License-Identifier: MIT
// The rules that both signing commands share.
#include "ZqMacClient/SigningRequest.h"

#include "ZqMacClient/ZqPdfSigner.h"
#include "ZqMacClient/ZqXmlSigner.h"
#include "tests/support/CaseName.h"
#include "tests/support/SigningTest.h"

#include <ostream>

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// One of the two commands.
struct Service {
    const char* name;
    std::string title; // of its notification
    std::string label; // of the line that logs the payload
    std::string inputKey; // of what is to be signed
    std::string input; // "data" in the form that the key wants
    std::string answer; // the answer's command
    std::function<void(CRVStompClient*, ZqClient*, const ZqMessage*)> sign;
};

void PrintTo(const Service& service, std::ostream* out) {
    *out << service.name;
}

const Service pdf{"SIGN_PDF", "Signing attachment", "Signing PDF: ", "bytesToSign",
    "ZGF0YQ==", "SIGN_PDF_RESPONSE", [](auto* connection, auto* client, const auto* message) {
        ZqPdfSigner().signPdf(connection, client, message);
    }};

const Service xml{"SIGN_XML", "Signing document", "Signing XML document: ", "xmlSignedInfo", "data",
    "SIGN_XML_RESPONSE", [](auto* connection, auto* client, const auto* message) {
        ZqXmlSigner().signXml(connection, client, message);
    }};

class SigningRequestTest : public SigningTest, public testing::WithParamInterface<Service> {
protected:
    const Service& service = GetParam();

    std::string payload(const std::string& algorithm = "SHA256withRSA",
        const std::string& digest = digestOf("Alice")) const {
        return R"({"certificateDigest":")" + digest + R"(",")" + service.inputKey + R"(":")"
            + service.input + R"(","signatureAlgorithm":")" + algorithm + R"("})";
    }
    /// What happens for a command with this payload, or with an envelope of its own.
    Events signing(const std::string& payloadText) {
        return signingEnvelope(envelope(service.name, payloadText));
    }
    Events signingEnvelope(const std::string& text) { return eventsOfCommand(service.sign, text); }
    /// The first events of every command.
    Events beginning(const std::string& payloadText) const {
        return joined(notification(service.title),
            Events{"log: " + service.label
                + (payloadText.empty() ? "nil" : "Optional(" + payloadText + ")")});
    }
    /// The body of the answer that was sent last.
    std::string answer() {
        const std::string& frame = server().sent.back();
        return frame.substr(frame.find("\n\n") + 2);
    }
    std::string answerAfter(const std::string& payloadText) {
        signing(payloadText);
        return answer();
    }
};

INSTANTIATE_TEST_SUITE_P(
    Commands, SigningRequestTest, testing::Values(pdf, xml), nameOfCase<Service>);

// What is refused

TEST_P(SigningRequestTest, MissingPayloadIsAMalformedMessage) {
    EXPECT_THAT(signingEnvelope(std::string(R"({"command":")") + service.name + "\"}"),
        ElementsAreArray(joined(
            beginning(""), fatalAlert("Malformed message received", "Message payload missing"))));
}

TEST_P(SigningRequestTest, MissingCertificateDigestIsAMalformedMessage) {
    for (const std::string& text :
        {std::string("{}"),
            R"({")" + service.inputKey + R"(":"ZGF0YQ==","signatureAlgorithm":"SHA256withRSA"})"}) {
        EXPECT_THAT(signing(text),
            ElementsAreArray(joined(beginning(text),
                fatalAlert("Malformed message received", "Certificate digest missing"))));
    }
}

TEST_P(SigningRequestTest, DigestOfAnotherKindCountsBeforeWhatIsMissing) {
    const std::string text = R"({"certificateDigest":7})";
    EXPECT_THAT(signing(text), AbortsAfter(beginning(text)));
}

TEST_P(SigningRequestTest, PayloadThatIsNoObjectStopsTheProgram) {
    for (const std::string text : {"[]", "\"text\"", "7", "true"}) {
        EXPECT_THAT(signing(text), AbortsAfter(beginning(text))) << text;
    }
    EXPECT_THAT(signing("null"), AbortsAfter(beginning("<null>")));
}

TEST_P(SigningRequestTest, ValuesThatAreNoTextStopTheProgram) {
    for (const std::string key :
        {"certificateDigest", service.inputKey.c_str(), "signatureAlgorithm"}) {
        for (const std::string value : {"null", "7", "true", "[]", "{}"}) {
            std::string text = payload();
            const std::size_t start = text.find('"' + key + "\":") + key.size() + 3;
            text.replace(start, text.find('"', start + 1) + 1 - start, value);
            EXPECT_THAT(signing(text), AbortsAfter(beginning(text)));
        }
    }
}

TEST_P(SigningRequestTest, MissingAlgorithmStopsTheProgram) {
    const std::string text
        = R"({"certificateDigest":"x",")" + service.inputKey + R"(":"ZGF0YQ=="})";
    EXPECT_THAT(signing(text), AbortsAfter(beginning(text)));
}

TEST_P(SigningRequestTest, AbsentMessageStopsTheProgramAfterTheNotification) {
    EXPECT_THAT(eventsOf([this] { service.sign(session->client().get(), session.get(), nullptr); }),
        AbortsAfter(notification(service.title)));
}

TEST_P(SigningRequestTest, AbsentClientStopsTheProgramOnlyWhenTheAnswerIsReady) {
    const auto message = ZqMessage::initWithBody(envelope(service.name, payload()) + nul);
    const Events events
        = eventsOf([&] { service.sign(session->client().get(), nullptr, message.get()); });
    EXPECT_THAT(events, Aborts());
    EXPECT_THAT(events, Contains(HasSubstr("successfully signed: Optional(\"U0lH\")")));
}

// The certificate

TEST_P(SigningRequestTest, UnknownDigestEndsTheProgram) {
    const Events events = signing(payload("SHA256withRSA", "unknown"));
    EXPECT_EQ(events.back(), "exit: 1");
    EXPECT_THAT(events,
        Contains("alert: Signing certificate not found in user keychain | "
                 "Certificate digest: unknown"));
    EXPECT_THAT(events, Not(Contains(StartsWith("sent: "))));
}

TEST_P(SigningRequestTest, DigestInOtherLetterCaseIsUnknown) {
    std::string digest = digestOf("Alice");
    digest[0] = 'n';
    ASSERT_NE(digest, digestOf("Alice"));
    const Events events = signing(payload("SHA256withRSA", digest));
    EXPECT_THAT(events,
        Contains("alert: Signing certificate not found in user keychain | Certificate digest: "
            + digest));
    EXPECT_EQ(events.back(), "exit: 1");
}

TEST_P(SigningRequestTest, FailedListingEndsTheProgram) {
    keychain.matching = {platform::errSecItemNotFound, std::nullopt};
    EXPECT_THAT(signing(payload()), Contains(StartsWith("alert: Error listing certificates 1")));
}

TEST_P(SigningRequestTest, CertificateOfTheDigestSigns) {
    keychain.addIdentity("Bob");
    signing(payload("SHA256withRSA", digestOf("Bob")));
    EXPECT_EQ(keychain.signatures.at(0).key, "<Bob>");
    EXPECT_THAT(answer(), HasSubstr(R"("certificate":"Qm9i")"));
}

TEST_P(SigningRequestTest, FirstOfEqualDigestsSigns) {
    keychain.addIdentity("Bob").der = {1};
    keychain.addIdentity("Carol").der = {1};
    signing(payload("SHA256withRSA", base64Encoded(referenceSha1(Bytes{1}))));
    ASSERT_EQ(keychain.signatures.size(), 1U);
    EXPECT_EQ(keychain.signatures[0].key, "<Bob>");
}

TEST_P(SigningRequestTest, EachCommandListsTheKeychainAnew) {
    signing(payload());
    keychain.identities.clear();
    EXPECT_EQ(signing(payload()).back(), "exit: 1");
}

TEST_P(SigningRequestTest, IdentityWithoutPrivateKeyStopsTheProgramAfterItsLines) {
    keychain.identities.at(0).hasKey = false;
    const Events lines = service.inputKey == "bytesToSign"
        ? Events{"log: bytesToSign: Optional(4 bytes)", "log: privateKey: nil",
            "log: signatureAlgorithm: SHA256withRSA", "log: keychain: ZqMacClient.ZqKeychainAccess"}
        : Events{"log: xmlSignedInfo digest: Optional(\""
            + base64Encoded(referenceSha256(bytesOf("data"))) + "\")"};
    const Events input
        = service.inputKey == "bytesToSign" ? Events{} : Events{"log: xmlSignedInfo: data"};
    EXPECT_THAT(signing(payload()),
        AbortsAfter(joined(beginning(payload()), input, reading({"Alice"}), lines)));
}

// The signature

TEST_P(SigningRequestTest, Sha256WithRsaSignsTheSha256) {
    signing(payload("SHA256withRSA"));
    const auto digest = referenceSha256(bytesOf("data"));
    EXPECT_THAT(keychain.signatures.at(0).data, ElementsAreArray(digest));
    EXPECT_EQ(keychain.signatures.at(0).algorithm,
        platform::SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256);
}

TEST_P(SigningRequestTest, EveryOtherNameSignsTheSha1AsAMessage) {
    const auto digest = referenceSha1(bytesOf("data"));
    for (const char* const name : {"sha256withrsa", "SHA256withRSA ", "SHA256withRSAandMGF1",
             "SHA1withRSA", "SHA512withRSA", ""}) {
        keychain.signatures.clear();
        signing(payload(name));
        EXPECT_THAT(keychain.signatures.at(0).data, ElementsAreArray(digest)) << name;
        EXPECT_EQ(keychain.signatures.at(0).algorithm,
            platform::SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1)
            << name;
    }
}

TEST_P(SigningRequestTest, FailedSigningIsAnsweredWithANullSignature) {
    keychain.signature = {std::nullopt, "no"};
    const Events events = signing(payload());
    EXPECT_THAT(events, Contains("print: Error creating signature: Optional(no)"));
    EXPECT_THAT(events, Contains(testing::EndsWith(" successfully signed: nil")));
    EXPECT_THAT(answer(), HasSubstr(R"({"signature":null,)"));
    EXPECT_THAT(events, Not(Contains(StartsWith("alert: "))));
}

TEST_P(SigningRequestTest, UnsupportedAlgorithmIsAnsweredWithANullSignature) {
    keychain.algorithmSupported = false;
    const Events events = signing(payload());
    EXPECT_THAT(events, Contains("print: Unsupported algorithm"));
    EXPECT_THAT(answer(), HasSubstr(R"({"signature":null,)"));
}

TEST_P(SigningRequestTest, SignatureIsAnsweredInBase64WithoutLineBreaks) {
    keychain.signature.signature = Bytes(256, 0xFF);
    EXPECT_THAT(answerAfter(payload()),
        HasSubstr(R"("signature":")" + base64Encoded(Bytes(256, 0xFF)) + "\""));
    EXPECT_EQ(answer().find('\n'), std::string::npos);
}

// The answer

TEST_P(SigningRequestTest, ExactlyOneAnswerIsSent) {
    EXPECT_EQ(testing::Matches(StartsWith("sent: "))(signing(payload()).back()), true);
    EXPECT_EQ(memory.trace.withPrefix("sent: SEND").size(), 1U);
    EXPECT_THAT(answer(), StartsWith(R"({"command":")" + service.answer + R"(","payload":{)"));
}

TEST_P(SigningRequestTest, RequestIdOfAnyKindComesBackTwice) {
    for (const std::string id : {"\"r1\"", "18446744073709551615", "-1.50e3", "null", "true",
             R"(["a",{"b":null}])", "\"\xF0\x9F\x98\x80\""}) {
        signingEnvelope(std::string(R"({"command":")") + service.name + R"(","payload":)"
            + payload() + R"(,"requestId":)" + id + "}");
        EXPECT_THAT(answer(),
            testing::EndsWith(R"("requestId":)" + id + R"(},"requestId":)" + id + "}" + nul));
    }
}

TEST_P(SigningRequestTest, MissingRequestIdBecomesEmptyTextTwice) {
    signingEnvelope(
        std::string(R"({"command":")") + service.name + R"(","payload":)" + payload() + "}");
    EXPECT_THAT(answer(), testing::EndsWith(R"("requestId":""},"requestId":""})" + nul));
}

TEST_P(SigningRequestTest, AMessageWithoutAnIdIsAnsweredWithNulls) {
    JsonObject object{{"certificateDigest", digestOf("Alice")}, {service.inputKey, service.input},
        {"signatureAlgorithm", "SHA256withRSA"}};
    const ZqMessage message(service.name, std::move(object), std::nullopt);
    service.sign(session->client().get(), session.get(), &message);
    EXPECT_THAT(answer(), testing::EndsWith(R"("requestId":null},"requestId":null})" + nul));
}

// What no keychain shows

using SigningCertificateTest = PlatformTest;

TEST_F(SigningCertificateTest, ACertificateWithoutDigestNeverMatches) {
    std::vector<ZqCertificate> certificates(2);
    certificates[1].certificateDigest = "";
    EXPECT_EQ(&signingCertificate(certificates, ""), &certificates[1]);
}

TEST_F(SigningCertificateTest, AMissingCertificateTextStopsTheProgram) {
    EXPECT_THAT(eventsOf([] { certificateText(ZqCertificate()); }), AbortsAfter(Events{}));
}

} // namespace
