// SPDX-License-Identifier: MIT
// Keys that are elsewhere than in the user's database: on cards, in Firefox's profile.
#include "tests/documents/Verifiers.h"
#include "tests/e2e/SessionTest.h"
#include "tests/linux-security/NssDirectory.h"
#include "tests/linux-security/SoftTokens.h"
#include "tests/support/ConfiguredModules.h"

#include <chrono>
#include <csignal>

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

CertificateBuilder named(const std::string& name) {
    CertificateBuilder builder;
    builder.subject = {{"CN", name}};
    builder.issuer = builder.subject;
    return builder;
}

} // namespace

class CardSession : public SessionTest {
protected:
    explicit CardSession(devserver::ServerOptions options = {})
        : SessionTest(std::move(options)) { }

    ConfiguredModules configured;
    SoftTokens tokens;
    NssDirectory profile{"abcd.default-release"};
    int files = 0; // that were signed

    void SetUp() override {
        SessionTest::SetUp();
        environment["SOFTHSM2_CONF"] = std::getenv("SOFTHSM2_CONF");
        environment["QUILLET_TEST_CARD"] = behaviour();
        setenv("QUILLET_TEST_CARD", behaviour().c_str(), 1);
        behave("");
    }

    std::string behaviour() const { return (home.path() / "card").string(); }
    void behave(const std::string& words) { writeFile(behaviour(), words); }

    void makeCard(const std::string& label, const std::string& library = SoftTokens::module()) {
        configured.add("card", library);
        tokens.create(label);
    }
    void makeProfile(const std::string& password) {
        profile.create(password);
        writeFile(home.path() / "home/.mozilla/firefox/profiles.ini",
            "[Profile0]\nIsRelative=0\nPath=" + profile.path() + "\nDefault=1\n");
    }
    void answerPrompt(const std::string& token, const std::string& password) {
        const std::string question = "Password of \"" + token + "\"";
        ASSERT_TRUE(agent->waitForOutput(question)) << agent->output();
        EXPECT_TRUE(agent->waitForOutput(" for the server localhost:")) << agent->output();
        agent->writeLine(password);
    }
    std::vector<std::string> names() {
        std::vector<std::string> texts;
        for (const json::value& certificate : listCertificates()) {
            texts.emplace_back(certificate.at("name").as_string());
        }
        return texts;
    }
    json::object requestFor(std::size_t index) {
        return {{"certificateDigest", listCertificates().at(index).at("certificateDigest")},
            {"signatureAlgorithm", "SHA256withRSA"}, {"bytesToSign", base64Of("bytes")}};
    }
    void expectValidAnswer() {
        const json::value answer = receive("SIGN_PDF_RESPONSE").at("payload");
        ASSERT_TRUE(answer.at("signature").is_string()) << agent->output();
        EXPECT_TRUE(signatureIsValid(std::string(answer.at("certificate").as_string()),
            std::string(answer.at("signature").as_string()), "bytes", "SHA256"));
    }
    /// A PDF that an agent signs after this password ("" for none); pdfsig judges it.
    void expectSignedPdf(const std::string& token, const std::string& password,
        const std::string& certificate = "first") {
        const std::string authority = (home.path() / "authority").string();
        const std::string out
            = (home.path() / ("signed" + std::to_string(++files) + ".pdf")).string();
        AgentProcess signer(home,
            {"sign", "--pdf", QUILLET_SAMPLES "/contract.pdf", "--out", out, "--certificate",
                certificate, "--authority", authority},
            {}, QUILLET_DEVSERVER);
        ASSERT_TRUE(signer.waitForOutput("agent      ")) << signer.output();
        const std::string output = signer.output();
        const std::size_t start = output.find("quillet://");
        environment["SSL_CERT_FILE"] = authority + "/authority.pem";
        agent = std::make_unique<AgentProcess>(home,
            std::vector<std::string>{
                output.substr(start, output.find_first_of(" \n", start) - start)},
            environment);
        if (!password.empty()) {
            answerPrompt(token, password);
        }
        EXPECT_EQ(signer.waitForEnd(), (ProcessEnd{0, 0})) << signer.output() << agent->output();
        const PdfSigVerdict verdict = pdfsig(contentOf(out));
        EXPECT_THAT(verdict.validations, SizeIs(1));
        EXPECT_THAT(verdict.validations, Each("Signature is Valid.")) << verdict.output;
    }
};

TEST_F(CardSession, CardThatP11KitAloneKnowsSignsAPdf) {
    makeCard("Card");
    tokens.add("Card", named("On the Card"));
    expectSignedPdf("Card", SoftTokens::pin);
}

TEST_F(CardSession, KeyInFirefoxsProfileSignsAPdfAfterThePrimaryPassword) {
    makeProfile("primary");
    profile.addIdentity(named("In Firefox"), "signer");
    expectSignedPdf("Firefox", "primary");
}

TEST_F(CardSession, OfTwoCardsAndTheDatabaseEachSignsAPdf) {
    home.makeIdentities(1);
    makeCard("First");
    tokens.create("Second");
    const auto digestOn = [this](const std::string& token) {
        const Bytes der = tokens.add(token, named("On the " + token)).certificate;
        return base64Of(digestOf({reinterpret_cast<const char*>(der.data()), der.size()}, "SHA1"));
    };
    const std::string first = digestOn("First");
    const std::string second = digestOn("Second");
    expectSignedPdf("", "");
    expectSignedPdf("First", SoftTokens::pin, first);
    expectSignedPdf("Second", SoftTokens::pin, second);
}

TEST_F(CardSession, TwoCardsAndTheDatabaseAreListedTogetherAndEachSigns) {
    home.makeIdentities(1);
    makeCard("First");
    tokens.create("Second");
    tokens.add("First", named("On the First"));
    tokens.add("Second", named("On the Second"));
    CertificateBuilder elliptic = named("Elliptic");
    elliptic.key = makeKeyPair("EC");
    tokens.add("Second", elliptic);
    startSession();
    const std::vector<std::string> all = names();
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[0], "Identity 0001");
    for (std::size_t i = 0; i < all.size(); ++i) {
        session->sendCommand("SIGN_PDF", requestFor(i));
        if (all[i] == "Elliptic") {
            const json::value answer = receive("SIGN_PDF_RESPONSE").at("payload");
            EXPECT_TRUE(answer.at("signature").is_null());
            continue;
        }
        if (all[i].starts_with("On the ")) {
            answerPrompt(all[i].substr(7), SoftTokens::pin);
        }
        expectValidAnswer();
    }
    EXPECT_THAT(agent->output(), HasSubstr("\nUnsupported algorithm\n"));
}

TEST_F(CardSession, CertificateThatCannotBeReadIsTheProgramsOwnAlert) {
    makeCard("Card");
    tokens.addBytes("Card", {0x30, 0x03, 0x02, 0x01, 0x05});
    startSession();
    session->sendCommand("LIST_CERTIFICATES");
    expectFatalAlert("Error listing certificates 4", "Error parsing certificate serial number");
}

TEST_F(CardSession, SlowCardIsWaitedForInWords) {
    makeCard("Card", AWKWARD_MODULE);
    tokens.add("Card", named("Slow"));
    startSession();
    const json::object request = requestFor(0);
    behave("slow-sign");
    session->sendCommand("SIGN_PDF", request);
    answerPrompt("Card", SoftTokens::pin);
    EXPECT_TRUE(agent->waitForOutput("Waiting for Card...\n")) << agent->output();
    expectValidAnswer();
}

TEST_F(CardSession, ModuleThatHangsIsLeftOutAndTheRestGoesOn) {
    home.makeIdentities(1);
    makeCard("Card", AWKWARD_MODULE);
    behave("hang-initialize");
    startSession();
    EXPECT_EQ(names(), std::vector<std::string>{"Identity 0001"});
    EXPECT_THAT(agent->output(), HasSubstr("Waiting for the keychain...\n"));
    EXPECT_TRUE(logHas("PKCS #11 module card (" AWKWARD_MODULE
                       ") is left out: it has not begun after 5 seconds."));
}

/// A module that has begun and then never returns from a call.
struct Hanging {
    const char* name;
    const char* behaviour;
    const char* command;
    const char* waitedFor;
    friend std::ostream& operator<<(std::ostream& out, const Hanging& value) {
        return out << value.name;
    }
};

class HangingModule : public CardSession, public testing::WithParamInterface<Hanging> {
protected:
    HangingModule()
        : CardSession({.heartBeat = "0,10000"}) {
        std::signal(
            SIGINT, SIG_DFL); // who tests in the background has it ignored, and so his agent
    }
};

TEST_P(HangingModule, IsNamedAndBeatsGoOnUntilItsUserEndsTheSession) {
    makeCard("Card", AWKWARD_MODULE);
    tokens.add("Card", named("Carded"));
    startSession();
    const json::object request = requestFor(0);
    behave(GetParam().behaviour);
    session->sendCommand(GetParam().command, request);
    if (GetParam().command == std::string("SIGN_PDF")) {
        answerPrompt("Card", SoftTokens::pin);
    }
    EXPECT_TRUE(agent->waitForOutput("Waiting for " + std::string(GetParam().waitedFor) + "...\n"))
        << agent->output();
    EXPECT_TRUE(session->waitForBeats(2, limit));
    EXPECT_TRUE(agent->waitForOutput("Still waiting for " + std::string(GetParam().waitedFor)
        + ". Taking the card out may help. Control-C ends the session.\n"));
    kill(agent->pid(), SIGINT);
    EXPECT_EQ(agent->waitForEnd(), (ProcessEnd{-1, SIGINT}));
}

INSTANTIATE_TEST_SUITE_P(Calls, HangingModule,
    testing::Values(Hanging{"Slots", "hang-slots", "LIST_CERTIFICATES", "the PKCS #11 module card"},
        Hanging{"Objects", "hang-find", "LIST_CERTIFICATES", "Card"},
        Hanging{"Login", "hang-login", "SIGN_PDF", "Card"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(CardSession, IdentitiesTellWhatTheyWaitFor) {
    makeCard("Card", AWKWARD_MODULE);
    tokens.add("Card", named("Carded"));
    behave("hang-find");
    AgentProcess report(home, {"identities"}, environment);
    EXPECT_TRUE(report.waitForOutput("Waiting for ")) << report.output();
    behave("");
    EXPECT_EQ(report.waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_THAT(report.output(),
        testing::ContainsRegex("Waiting for (Card|the PKCS #11 module card)\\.\\.\\.\n"));
    EXPECT_THAT(report.output(), HasSubstr("Token Card: locked\n"));
}

TEST_F(CardSession, NoModuleIsLoadedBeforeTheFirstListing) {
    home.makeIdentities(1);
    makeCard("Card", AWKWARD_MODULE);
    behave("hang-initialize");
    startSession();
    EXPECT_THAT(contentOf("/proc/" + std::to_string(agent->pid()) + "/maps"),
        testing::AllOf(Not(HasSubstr("awkward")), Not(HasSubstr("softokn"))));
}

TEST_F(CardSession, IdentitiesAreToldWithoutAskingForAPin) {
    home.makeIdentities(1);
    makeProfile("primary");
    makeCard("Card");
    tokens.add("Card", named("Shown"));
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    AgentProcess report(home, {"identities"}, environment);
    EXPECT_EQ(report.waitForEnd(), (ProcessEnd{0, 0}));
    for (const std::string& line :
        {"Certificate database " + home.databaseFolder().string() + ": open\n",
            "Firefox profile " + profile.path() + ": open\n",
            "Module card (" + std::filesystem::canonical(SoftTokens::module()).string()
                + ", named by p11-kit): loaded\n",
            std::string("Token NSS Certificate DB: open\n"),
            std::string("    NL, Example Org, Identity 0001, serial number 01, RSA 2048-bit: "
                        "offered\n"),
            std::string("Token Firefox: locked\n"), std::string("Token Card: locked\n")}) {
        EXPECT_THAT(report.output(), HasSubstr(line));
    }
    EXPECT_THAT(report.output(),
        testing::ContainsRegex("    Shown, serial number [0-9A-F:]+, RSA 2048-bit: offered\n"));
    EXPECT_THAT(report.output(),
        testing::ContainsRegex(
            "    Hidden, .*: not offered while locked: no public key beside it\n"));
    EXPECT_THAT(report.output(), Not(HasSubstr("Password of")));
}

TEST_F(CardSession, IdentitiesAreToldWithThePinWhenTold) {
    makeCard("Card");
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    AgentProcess report(home, {"identities", "--unlock"}, environment);
    ASSERT_TRUE(report.waitForOutput("Password of \"Card\" (empty to cancel): "));
    report.writeLine(SoftTokens::pin);
    EXPECT_EQ(report.waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_THAT(report.output(), HasSubstr("Token Card: open\n"));
    EXPECT_THAT(report.output(), testing::ContainsRegex("    Hidden, .*: offered\n"));
}

class CardSessionWithBeats : public CardSession {
protected:
    CardSessionWithBeats()
        : CardSession({.heartBeat = "0,10000"}) { }
};

TEST_F(CardSessionWithBeats, BeatsGoOutWhileACardSigns) {
    makeCard("Card", AWKWARD_MODULE);
    tokens.add("Card", named("Slow"));
    startSession();
    const json::object request = requestFor(0);
    behave("very-slow-sign");
    session->sendCommand("SIGN_PDF", request);
    answerPrompt("Card", SoftTokens::pin);
    EXPECT_TRUE(session->waitForBeats(2, limit));
    expectValidAnswer();
}
