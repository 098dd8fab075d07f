// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqClient.h"

#include "ZqMacClient/ZqKeychainAccess.h"
#include "foundation/Base64.h"
#include "foundation/JsonWriter.h"
#include "tests/support/KeychainEvents.h"
#include "tests/support/SessionFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::IsSupersetOf;

namespace {

class ZqClientCommandsTest : public SessionFixture { };

} // namespace

TEST_F(ZqClientCommandsTest, DiagnosticsAnswerTellsSystemAndVersion) {
    establish();
    const std::string json = R"({"command":"GET_DIAGNOSTICS"})";
    receive(messageText(json));
    const std::string payload = R"({"os":"macOS","version":"13.6.0"})";
    EXPECT_EQ(happened(),
        joined(receivedLines(json, "GET_DIAGNOSTICS"), notification("Getting diagnostics"),
            Events{"log: Sending message: DIAGNOSTICS Optional(" + payload + ") nil",
                sentToRoom(R"({"command":"DIAGNOSTICS","payload":)" + payload
                    + R"(,"requestId":null})")}));
}

TEST_F(ZqClientCommandsTest, DiagnosticsAnswerIgnoresPayloadAndRequestId) {
    establish();
    memory.system().version = {10, 15, 7};
    receive(messageText(R"({"command":"GET_DIAGNOSTICS","payload":[1],"requestId":"r9"})"));
    EXPECT_EQ(happened().back(),
        sentToRoom(R"({"command":"DIAGNOSTICS","payload":{"os":"macOS","version":"10.15.7"},)"
                   R"("requestId":null})"));
}

TEST_F(ZqClientCommandsTest, DiagnosticsWithoutConnectionAreFatalWhenSent) {
    establish();
    EXPECT_EQ(endOf([&] { session->getDiagnostics(nullptr); }), "abort");
    expectFatalEnd(joined(notification("Getting diagnostics"),
        Events{
            R"(log: Sending message: DIAGNOSTICS Optional({"os":"macOS","version":"13.6.0"}) nil)"}));
}

TEST_F(ZqClientCommandsTest, EmptyKeychainAnswersWithAnEmptyList) {
    establish();
    const std::string json = R"({"command":"LIST_CERTIFICATES","requestId":"r2"})";
    receive(messageText(json));
    const Events events = happened();
    const Events beginning
        = joined(receivedLines(json, "LIST_CERTIFICATES"), notification("Listing certificates"));
    ASSERT_GT(events.size(), beginning.size() + 2);
    EXPECT_EQ(Events(events.begin(), events.begin() + 5), beginning);
    EXPECT_EQ(Events(events.end() - 2, events.end()),
        (Events{R"(log: Sending message: CERTIFICATE_LIST Optional("W10=") nil)",
            sentToRoom(R"({"command":"CERTIFICATE_LIST","payload":"W10=","requestId":null})")}));
}

TEST_F(ZqClientCommandsTest, CertificateListIsBase64OfACompactArrayInKeychainOrder) {
    establish();
    std::string array = "[";
    for (const std::string name : {"Zoe \xC3\xA9", "Alice/\"A\""}) {
        keychain.addIdentity(name);
        const JsonObject certificate
            = ZqKeychainAccess().listCertificates(false).back().getDictionary();
        EXPECT_EQ(*certificate.find("alias")->as<JsonText>(), name);
        EXPECT_TRUE(certificate.find("certificate")->isNull());
        array += (array.size() > 1 ? "," : "") + writeJson(certificate).text.value();
    }
    const std::string payload = base64Encoded(bytesOf(array + "]"));
    forget();
    receive(messageText(R"({"command":"LIST_CERTIFICATES"})"));
    EXPECT_EQ(happened().back(),
        sentToRoom(
            R"({"command":"CERTIFICATE_LIST","payload":")" + payload + R"(","requestId":null})"));
}

TEST_F(ZqClientCommandsTest, CertificateListWithoutConnectionIsFatalAtOnce) {
    establish();
    const std::string json = R"({"command":"LIST_CERTIFICATES"})";
    EXPECT_EQ(endOf([&] { session->messageReceived(nullptr, json + nul, {}); }), "abort");
    expectFatalEnd(receivedLines(json, "LIST_CERTIFICATES"));
}

TEST_F(ZqClientCommandsTest, FailedListingSendsNothing) {
    establish();
    keychain.defaultKeychainStatus = platform::errSecItemNotFound;
    EXPECT_EQ(endOfCommand(R"({"command":"LIST_CERTIFICATES"})"), "exit 1");
    EXPECT_EQ(memory.userInterface().alerts.size(), 1U);
    EXPECT_EQ(memory.trace.withPrefix("sent: "), Events());
}

namespace {

/// A signing command for the identity "Alice".
std::string signingCommand(const std::string& command, const std::string& documentMember) {
    return R"({"command":")" + command + R"(","requestId":"r1","payload":{"certificateDigest":")"
        + digestOf("Alice") + R"(","signatureAlgorithm":"SHA256withRSA",)" + documentMember + "}}";
}

const std::string signXml = signingCommand("SIGN_XML", R"("xmlSignedInfo":"<a/>")");
const std::string signPdf = signingCommand("SIGN_PDF", R"("bytesToSign":"AAAA")");

} // namespace

TEST_F(ZqClientCommandsTest, SigningCommandsGoToTheirSigners) {
    establish();
    keychain.addIdentity("Alice");
    receive(messageText(signXml));
    Events events = happened();
    EXPECT_THAT(events, IsSupersetOf(notification("Signing document")));
    EXPECT_THAT(events.back(), HasSubstr(R"({"command":"SIGN_XML_RESPONSE",)"));
    receive(messageText(signPdf));
    events = happened();
    EXPECT_THAT(events, IsSupersetOf(notification("Signing attachment")));
    EXPECT_THAT(events.back(), HasSubstr(R"({"command":"SIGN_PDF_RESPONSE",)"));
}

TEST_F(ZqClientCommandsTest, CommandsOfOneChunkAreHandledToTheirEndOneByOne) {
    establish();
    keychain.addIdentity("Alice");
    EXPECT_EQ(endOf([&] {
        receive(messageText(signPdf) + messageText(signXml)
            + messageText(R"({"command":"TERMINATE_CLIENT"})")
            + messageText(R"({"command":"SERVER_CONNECT"})"));
    }),
        "exit 0");
    const Events sent = memory.trace.withPrefix("sent: ");
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_THAT(sent[0], HasSubstr("SIGN_PDF_RESPONSE"));
    EXPECT_THAT(sent[1], HasSubstr("SIGN_XML_RESPONSE"));
    EXPECT_EQ(memory.trace.events().back(), "exit: 0");
}
