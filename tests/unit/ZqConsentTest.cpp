// SPDX-License-Identifier: MIT
// What the user is asked, and what is allowed, under an administrator's policy.
#include "ZqMacClient/ZqConsent.h"

#include "foundation/HexEncoding.h"
#include "tests/support/MemoryTrust.h"
#include "tests/support/SigningContent.h"
#include "tests/support/SigningTest.h"

namespace {

using platform::ManagedPolicy;
using platform::NSAlert;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr int allow = platform::NSAlertFirstButtonReturn;
constexpr int refuse = allow + 1;

class ZqConsentTest : public SigningTest {
protected:
    /// The session with a server, under a policy of these members.
    void follow(
        const std::string& rules, const std::string& link = "quillet://sign.example.org:8443") {
        trust.policy = {ManagedPolicy::State::present, "/etc/quillet/policy.json",
            R"({"version":1)" + (rules.empty() ? "" : "," + rules) + "}", {}};
        viewController.connectToServer(link + "?roomId=r1");
        session = viewController.client();
        acceptConnection();
    }

    Events receiving(const std::string& command, const std::string& payload) {
        return eventsOf([&] { receive(messageText(envelope(command, payload))); });
    }
    Events listing() { return receiving("LIST_CERTIFICATES", "null"); }
    Events signing(const std::string& content, const std::string& algorithm = "SHA256withRSA") {
        return receiving("SIGN_PDF",
            R"({"certificateDigest":")" + digestOf("Alice") + R"(","bytesToSign":")"
                + base64Encoded(bytesOf(content)) + R"(","signatureAlgorithm":")" + algorithm
                + "\"}");
    }
    Events signingXml(const std::string& text) {
        std::string escaped;
        for (const char c : text) {
            escaped += c == '"' ? "\\\"" : std::string(1, c);
        }
        return receiving("SIGN_XML",
            R"({"certificateDigest":")" + digestOf("Alice") + R"(","xmlSignedInfo":")" + escaped
                + R"(","signatureAlgorithm":"SHA256withRSA"})");
    }

    /// Questions and alerts.
    const std::vector<NSAlert>& asked() { return memory.userInterface().alerts; }
    void answer(std::initializer_list<int> responses) {
        memory.userInterface().responses = responses;
    }
    static bool hasAnswered(const Events& events) {
        return std::any_of(events.begin(), events.end(),
            [](const std::string& event) { return event.starts_with("sent: SEND"); });
    }
    static bool hasUsedKeychain(const Events& events) {
        return std::any_of(events.begin(), events.end(),
            [](const std::string& event) { return event.starts_with("Sec"); });
    }
    static std::string sha256Hex(const std::string& bytes) {
        return hexEncodedString(referenceSha256(bytesOf(bytes)));
    }

    MemoryTrust trust{memory};
};

TEST_F(ZqConsentTest, WithoutThatRuleNobodyIsAsked) {
    follow("");
    EXPECT_TRUE(hasAnswered(listing()));
    EXPECT_TRUE(hasAnswered(signing("anything", "NONEwithRSA")));
    EXPECT_THAT(asked(), IsEmpty());
    follow(R"("consent":"none","content":"any")");
    EXPECT_TRUE(hasAnswered(signing("anything")));
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(ZqConsentTest, ASessionIsAskedForOnce) {
    follow(R"("consent":"session")");
    answer({allow});
    EXPECT_TRUE(hasAnswered(listing()));
    EXPECT_TRUE(hasAnswered(signing("one")));
    EXPECT_TRUE(hasAnswered(signing("two")));
    ASSERT_THAT(asked(), SizeIs(1));
    const NSAlert& question = asked().front();
    EXPECT_EQ(question.messageText, "sign.example.org wants to use your certificates");
    EXPECT_EQ(question.informativeText,
        "Server: sign.example.org, port 8443\nRoom code: 023174\n\n"
        "If you did not just start signing there, refuse.");
    EXPECT_THAT(question.buttons, ElementsAre("Allow for this session", "Refuse"));
    EXPECT_THAT(trust.questions, SizeIs(1));
    EXPECT_THAT(memory.log(),
        Contains("Consent: sign.example.org:8443, room code 023174, asks for this session"));
    EXPECT_THAT(memory.log(), Contains("Consent: allowed"));
}

TEST_F(ZqConsentTest, ASignatureIsAskedForWhereItComesFirst) {
    follow(R"("consent":"session")");
    answer({allow});
    EXPECT_TRUE(hasAnswered(signing("one")));
    EXPECT_TRUE(hasAnswered(listing()));
    EXPECT_THAT(asked(), SizeIs(1));
}

TEST_F(ZqConsentTest, ARefusalSendsNothingAndEndsWithStatus1) {
    for (const char* const rule : {R"("consent":"session")", R"("consent":"signature")"}) {
        follow(rule);
        answer({refuse});
        const Events events = listing();
        EXPECT_FALSE(hasAnswered(events));
        EXPECT_FALSE(hasUsedKeychain(events));
        EXPECT_EQ(events.back(), "exit: 1");
        EXPECT_THAT(events, Contains("log: Consent: refused"));
    }
    for (const char* const rule : {R"("consent":"session")", R"("consent":"signature")"}) {
        follow(rule);
        answer({refuse});
        const Events events = signing("one");
        EXPECT_FALSE(hasAnswered(events));
        EXPECT_FALSE(hasUsedKeychain(events));
        EXPECT_EQ(events.back(), "exit: 1");
    }
}

TEST_F(ZqConsentTest, EachSessionIsAskedForAnew) {
    follow(R"("consent":"session")");
    answer({allow, allow});
    listing();
    follow(R"("consent":"session")");
    listing();
    EXPECT_THAT(asked(), SizeIs(2));
}

TEST_F(ZqConsentTest, EachSignatureIsAskedForWithItsContent) {
    keychain.identities.front().values->set(platform::kSecOIDX509V1SubjectName,
        platform::PropertyDictionary{{"value",
            platform::PropertyArray{
                platform::PropertyDictionary{{"type", "string"}, {"value", "Alice\nExample"}}}}});
    follow(R"("consent":"signature")");
    answer({allow, allow, allow, allow});
    listing();
    const std::string attributes = signedAttributes();
    const Events first = signing(attributes);
    EXPECT_TRUE(hasAnswered(first));
    EXPECT_TRUE(hasAnswered(signingXml(signedInfo())));
    EXPECT_TRUE(hasAnswered(signing("some bytes")));
    ASSERT_THAT(asked(), SizeIs(4));
    EXPECT_EQ(asked()[1].informativeText,
        "Server: sign.example.org, port 8443\nRoom code: 023174\n"
        "Certificate: Alice Example\nIssued by: \nTo be signed: PDF signature\nSHA-256: "
            + sha256Hex(attributes)
            + "\nSignature 1 of this session\n\nIf you did not just start signing there, refuse.");
    EXPECT_THAT(asked()[2].informativeText, HasSubstr("\nTo be signed: XML signature\n"));
    EXPECT_THAT(asked()[2].informativeText, HasSubstr("\nSHA-256: " + sha256Hex(signedInfo())));
    EXPECT_THAT(asked()[2].informativeText, HasSubstr("\nSignature 2 of this session\n"));
    EXPECT_THAT(
        asked()[3].informativeText, HasSubstr("\nTo be signed: 10 bytes of another kind\n"));
    EXPECT_THAT(asked()[3].buttons, ElementsAre("Allow this signature", "Refuse"));
    EXPECT_THAT(trust.questions, SizeIs(4));
    const auto question = std::find_if(
        first.begin(), first.end(), [](const auto& e) { return e.starts_with("alert"); });
    const auto signature = std::find(first.begin(), first.end(), "SecKeyCreateSignature <Alice>");
    EXPECT_LT(question, signature);
}

TEST_F(ZqConsentTest, TheKeychainIsOpenedForASignatureOnlyWithConsent) {
    follow(R"("consent":"signature")");
    answer({allow, allow});
    EXPECT_TRUE(hasAnswered(signing("one")));
    ASSERT_THAT(asked(), SizeIs(2));
    EXPECT_EQ(asked()[0].buttons.front(), "Allow the list");
    EXPECT_EQ(asked()[1].buttons.front(), "Allow this signature");
}

TEST_F(ZqConsentTest, ARefusedSignatureIsNotMade) {
    follow(R"("consent":"signature")");
    answer({allow, refuse});
    EXPECT_TRUE(hasAnswered(listing()));
    EXPECT_EQ(asked().at(0).buttons.front(), "Allow the list");
    const Events events = signing("some bytes");
    EXPECT_FALSE(hasAnswered(events));
    EXPECT_THAT(events, Not(Contains("SecKeyCreateSignature <Alice>")));
    EXPECT_EQ(events.back(), "exit: 1");
}

TEST_F(ZqConsentTest, AnInternationalNameStandsBesideItsALabel) {
    trust.asciiNames = {{"bücher.example", "xn--bcher-kva.example"}};
    follow(R"("consent":"session")", "quillet://b%C3%BCcher.example");
    answer({allow});
    listing();
    EXPECT_EQ(asked().at(0).messageText, "bücher.example wants to use your certificates");
    EXPECT_THAT(asked().at(0).informativeText,
        StartsWith("Server: bücher.example (xn--bcher-kva.example), port 443\n"));
}

TEST_F(ZqConsentTest, ANameInOtherLettersIsShownAsItIsCompared) {
    follow(R"("consent":"session")", "quillet://SIGN.Example.ORG.");
    answer({allow});
    listing();
    EXPECT_THAT(asked().at(0).informativeText, StartsWith("Server: sign.example.org, port 443\n"));
}

TEST_F(ZqConsentTest, EachListAndEachSignatureIsAUse) {
    follow(R"("idleMinutes":3)");
    const std::vector<std::function<Events()>> uses{[this] { return listing(); },
        [this] { return signing("bytes"); }, [this] { return signingXml("<a/>"); }};
    for (const auto& use : uses) {
        trust.laterWork = nullptr;
        EXPECT_TRUE(hasAnswered(use()));
        EXPECT_TRUE(trust.laterWork);
        EXPECT_EQ(trust.laterTime, std::chrono::minutes(3));
    }
    trust.laterWork = nullptr;
    receiving("GET_DIAGNOSTICS", "null");
    EXPECT_FALSE(trust.laterWork);
}

TEST_F(ZqConsentTest, ASignatureThatFailedIsAUse) {
    follow(R"("idleMinutes":3)");
    keychain.signature = {std::nullopt, "cancelled"};
    signing("bytes");
    EXPECT_TRUE(trust.laterWork);
}

TEST_F(ZqConsentTest, TheRoomCodeIsSixDigitsOfTheRoomsDigest) {
    EXPECT_EQ(ZqConsent::roomCode(""), "012610");
    EXPECT_EQ(ZqConsent::roomCode("r1"), "023174");
    EXPECT_EQ(ZqConsent::roomCode("room5"), "034609");
}

TEST_F(ZqConsentTest, TheServerIsHeldAgainstTheListBeforeEachUse) {
    trust.policy = {
        ManagedPolicy::State::present, "p", R"({"version":1,"servers":["sign.example.org"]})", {}};
    const ZqGatekeeper gatekeeper = ZqGatekeeper::ofThisComputer();
    ZqConsent consent(gatekeeper, {"evil.example", false, "evil.example"}, 443, "r1");
    EXPECT_EQ(eventsOf([&] { consent.beforeListing(); }).back(), "exit: 1");
    EXPECT_EQ(eventsOf([&] { consent.beforeSigning({}, "SHA256withRSA"); }).back(), "exit: 1");
    ZqConsent allowed(gatekeeper, {"sign.example.org", false, "sign.example.org"}, 443, "r1");
    EXPECT_THAT(eventsOf([&] { allowed.beforeListing(); }), IsEmpty());
}

// Documents alone

TEST_F(ZqConsentTest, DocumentsAreSigned) {
    follow(R"("content":"documents")");
    EXPECT_TRUE(hasAnswered(signing(signedAttributes())));
    EXPECT_TRUE(hasAnswered(signingXml(signedInfo())));
    EXPECT_THAT(asked(), IsEmpty());
    EXPECT_THAT(memory.log(), Contains("Policy: PDF signature is allowed"));
    EXPECT_THAT(memory.log(), Contains("Policy: XML signature is allowed"));
}

TEST_F(ZqConsentTest, AnythingElseIsRefusedBeforeTheKeychainIsAsked) {
    follow(R"("content":"documents")");
    const Events events = signing("challenge of a login");
    EXPECT_FALSE(hasAnswered(events));
    EXPECT_FALSE(hasUsedKeychain(events));
    EXPECT_THAT(events,
        Contains("alert: Content not allowed | sign.example.org:8443 asks for a signature of 20"
                 " bytes that are neither those of a PDF signature nor those of an XML signature."
                 " This computer's administrator allows signatures of documents alone."));
    EXPECT_EQ(events.back(), "exit: 1");
    EXPECT_EQ(signingXml("<login/>").back(), "exit: 1");
}

TEST_F(ZqConsentTest, OtherAlgorithmsAreRefused) {
    for (const char* const algorithm : {"SHA1withRSA", "sha256withrsa", ""}) {
        follow(R"("content":"documents")");
        const Events events = signing(signedAttributes(), algorithm);
        EXPECT_FALSE(hasAnswered(events));
        EXPECT_EQ(events.back(), "exit: 1");
    }
}

TEST_F(ZqConsentTest, ARefusedContentIsNotAskedFor) {
    follow(R"("content":"documents","consent":"session")");
    answer({allow});
    signing("no document");
    ASSERT_THAT(asked(), SizeIs(1));
    EXPECT_EQ(asked().front().messageText, "Content not allowed");
}

} // namespace
