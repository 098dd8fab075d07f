// SPDX-License-Identifier: MIT
// A log without documents.
#include "ZqMacClient/ZqLogPrivacy.h"

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

    /// The log of a session that signs a PDF and an XML file under this rule.
    std::vector<std::string> logUnder(const std::string& rule) {
        trust.policy = {platform::ManagedPolicy::State::present, "p",
            R"({"version":1,"log":")" + rule + "\"}", {}};
        viewController.connectToServer("quillet://h?roomId=r1");
        acceptConnection();
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

TEST_F(ZqLogPrivacyTest, ALaterPolicyBringsTheFullLogBack) {
    logUnder("redacted");
    EXPECT_THAT(logUnder("full"), Contains("xmlSignedInfo: <secret>contract</secret>"));
}

TEST_F(ZqLogPrivacyTest, ValuesWithoutContentAndNamesStay) {
    ZqLogPrivacy::setRedacted(true);
    JsonObject object{{"a", nullptr}, {"b", true}, {"c", JsonArray{}}, {"d", JsonObject()},
        {"e", JsonArray{JsonValue("x"), JsonValue(7)}}, {std::string(65, 'n'), false}};
    ZqLogPrivacy::addPayload(LogLine().add("> "), JsonValue(std::move(object))).write();
    EXPECT_EQ(memory.log().back(),
        "> Optional({\"a\":null,\"b\":true,\"c\":[],\"d\":{},\"e\":[" + summaryOf("x") + ","
            + summaryOf("7") + "]," + summaryOf(std::string(65, 'n')) + ":false})");
    ZqLogPrivacy::addPayload(LogLine().add("> "), std::nullopt).write();
    EXPECT_EQ(memory.log().back(), "> nil");
}

} // namespace
