// SPDX-License-Identifier: MIT
// A log without documents.
#include "ZqMacClient/ZqLogPrivacy.h"

#include "ZqMacClient/ZqRestApiClient.h"
#include "foundation/HexEncoding.h"
#include "tests/support/MemoryTrust.h"
#include "tests/support/SigningTest.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class ZqLogPrivacyTest : public SigningTest {
protected:
    ~ZqLogPrivacyTest() override { ZqLogPrivacy::setRedacted(false); }

    void connectUnder(const std::string& rule) {
        trust.policy = {platform::ManagedPolicy::State::present, "p",
            R"({"version":1,"log":")" + rule + "\"}", {}};
        viewController.connectToServer("quillet://h?roomId=r1");
        acceptConnection();
    }
    /// The log of a session in which this comes.
    std::vector<std::string> logOf(const std::string& rule, const std::string& frame) {
        connectUnder(rule);
        eventsOf([&] { receive(frame); });
        return memory.log();
    }
    /// The log of a session that signs a PDF and an XML file under this rule.
    std::vector<std::string> logUnder(const std::string& rule) {
        connectUnder(rule);
        const std::string head = R"({"certificateDigest":")" + digestOf("Alice")
            + R"(","signatureAlgorithm":"SHA256withRSA",)";
        receive(messageText(envelope("SIGN_PDF",
            head + R"("bytesToSign":")" + base64Encoded(bytesOf("secret contract"))
                + R"(","pdfToSign":"c2VjcmV0IGNvbnRyYWN0"})")));
        receive(messageText(
            envelope("SIGN_XML", head + R"("xmlSignedInfo":"<secret>contract</secret>"})")));
        return memory.log();
    }
    static std::string summaryOf(const std::string& text) {
        return "<" + std::to_string(text.size()) + " bytes, SHA-256 "
            + hexEncodedString(referenceSha256(bytesOf(text))) + ">";
    }

    MemoryTrust trust{memory};
};

TEST_F(ZqLogPrivacyTest, AFullLogHoldsDocuments) {
    const auto log = logUnder("full");
    EXPECT_THAT(log, Contains("xmlSignedInfo: <secret>contract</secret>"));
    EXPECT_THAT(log, Contains(HasSubstr(base64Encoded(bytesOf("secret contract")))));
}

TEST_F(ZqLogPrivacyTest, ARedactedLogHoldsNone) {
    const auto log = logUnder("redacted");
    const std::string signature = base64Encoded(*keychain.signature.signature);
    for (const std::string secret : {"secret", "contract", "c2VjcmV0"}) {
        EXPECT_THAT(log, Not(Contains(HasSubstr(secret)))) << secret;
    }
    EXPECT_THAT(log, Contains("xmlSignedInfo: " + summaryOf("<secret>contract</secret>")));
    EXPECT_THAT(log, Contains("XML successfully signed: Optional(" + summaryOf(signature) + ")"));
    EXPECT_THAT(log,
        Contains(
            HasSubstr("\"bytesToSign\":" + summaryOf(base64Encoded(bytesOf("secret contract"))))));
    EXPECT_THAT(log, Contains(HasSubstr("STOMP message received: <")));
    EXPECT_THAT(
        log, Contains(HasSubstr("Sending message: SIGN_XML_RESPONSE Optional({\"signature\":<")));
    EXPECT_EQ(memory.trace.withPrefix("sent: SEND").size(), 2U);
}

TEST_F(ZqLogPrivacyTest, TextsOfAnErrorFrameAreRedacted) {
    const std::string frame = frameText("ERROR\nmessage:secret title", "secret contract");
    EXPECT_THAT(
        logOf("full", frame), Contains("FATAL ERROR: secret title, details: secret contract"));
    EXPECT_THAT(logOf("redacted", frame),
        Contains("FATAL ERROR: " + summaryOf("secret title")
            + ", details: " + summaryOf("secret contract")));
    EXPECT_EQ(memory.userInterface().alerts.back().messageText, "secret title");
    EXPECT_EQ(memory.userInterface().alerts.back().informativeText, "secret contract");
}

TEST_F(ZqLogPrivacyTest, NamesOfCommandsStayWhenTheyAreNames) {
    EXPECT_THAT(logOf("redacted", messageText(envelope("SIGN_DOC-2", "null"))),
        Contains("Ignoring command: SIGN_DOC-2"));
    for (const std::string& name : {std::string("secret contract"), std::string(65, 'n')}) {
        const std::string frame = messageText(envelope(name, "null"));
        EXPECT_THAT(logOf("full", frame), Contains("Ignoring command: " + name));
        const auto log = logOf("redacted", frame);
        EXPECT_THAT(log, Contains("Processing command: " + summaryOf(name)));
        EXPECT_THAT(log, Contains("Ignoring command: " + summaryOf(name)));
    }
}

TEST_F(ZqLogPrivacyTest, WhatARequestNamesIsRedactedToo) {
    const auto request = [](const std::string& digest, const std::string& algorithm) {
        return messageText(envelope("SIGN_PDF",
            R"({"bytesToSign":"","certificateDigest":")" + digest + R"(","signatureAlgorithm":")"
                + algorithm + "\"}"));
    };
    EXPECT_THAT(logOf("redacted", request("secret", "SHA256withRSA")),
        Contains("FATAL ERROR: Signing certificate not found in user keychain, details: "
                 "Certificate digest: "
            + summaryOf("secret")));
    EXPECT_EQ(memory.userInterface().alerts.back().informativeText, "Certificate digest: secret");
    EXPECT_THAT(logOf("redacted", request(digestOf("Alice"), "SHA1withRSA")),
        Contains("signatureAlgorithm: SHA1withRSA"));
    EXPECT_THAT(logOf("redacted", request(digestOf("Alice"), "secret words")),
        Contains("signatureAlgorithm: " + summaryOf("secret words")));
}

TEST_F(ZqLogPrivacyTest, RefusedAlgorithmsAreRedactedToo) {
    trust.policy = {platform::ManagedPolicy::State::present, "p",
        R"({"version":1,"log":"redacted","content":"documents"})", {}};
    ZqConsent consent(ZqGatekeeper::ofThisComputer(), {"h", false, "h"}, 443, "r1");
    const Events events = eventsOf([&] { consent.beforeSigning({}, "secret words"); });
    EXPECT_THAT(
        events, Contains(HasSubstr("Policy: a signature of \"" + summaryOf("secret words"))));
    EXPECT_THAT(events, Not(Contains(testing::AllOf(HasSubstr("log: "), HasSubstr("secret")))));
    EXPECT_THAT(events,
        Contains(HasSubstr("alert: Content not allowed | h:443 asks for a signature"
                           " of \"secret words\"")));
}

TEST_F(ZqLogPrivacyTest, AnswersOfTheUpdateServerAreRedactedButForWhatIsTakenOfThem) {
    const std::string address = "https://h:443/update/version?os=macos";
    connectUnder("redacted");
    memory.network().answer(address, R"({"value":"1.2","note":"secret"})");
    EXPECT_EQ(ZqRestApiClient(address).getValue("asking"), "1.2");
    EXPECT_THAT(memory.log(),
        Contains("Server REST API response: {\"value\":" + summaryOf("1.2")
            + ",\"note\":" + summaryOf("secret") + "}"));
    EXPECT_THAT(memory.log(), Contains(HasSubstr("complete with: value=Optional(\"1.2\")")));
    memory.network().answer(address, R"({"status":500,"message":"secret"})");
    const Events events = eventsOf([&] { ZqRestApiClient(address).getValue("asking"); });
    EXPECT_THAT(events, Not(Contains(testing::AllOf(HasSubstr("log: "), HasSubstr("secret")))));
    EXPECT_THAT(
        events, Contains("log: FATAL ERROR: Error asking, details: " + summaryOf("(500) secret")));
    EXPECT_THAT(events, Contains("alert: Error asking | (500) secret"));
}

TEST_F(ZqLogPrivacyTest, ALaterPolicyBringsTheFullLogBack) {
    logUnder("redacted");
    EXPECT_THAT(logUnder("full"), Contains("xmlSignedInfo: <secret>contract</secret>"));
}

TEST_F(ZqLogPrivacyTest, ValuesWithoutContentAndNamesStay) {
    ZqLogPrivacy::setRedacted(true);
    JsonObject object{{"a", nullptr}, {"b", true}, {"c", JsonArray{}}, {"d", JsonObject()},
        {"e", JsonArray{JsonValue("x"), JsonValue(7)}}, {"two words", true},
        {std::string(65, 'n'), false}};
    ZqLogPrivacy::addPayload(LogLine().add("> "), JsonValue(std::move(object))).write();
    EXPECT_EQ(memory.log().back(),
        "> Optional({\"a\":null,\"b\":true,\"c\":[],\"d\":{},\"e\":[" + summaryOf("x") + ","
            + summaryOf("7") + "],\"" + summaryOf("two words") + "\":true,\""
            + summaryOf(std::string(65, 'n')) + "\":false})");
    ZqLogPrivacy::addPayload(LogLine().add("> "), std::nullopt).write();
    EXPECT_EQ(memory.log().back(), "> nil");
}

} // namespace
