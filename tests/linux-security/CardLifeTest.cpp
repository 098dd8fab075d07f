// SPDX-License-Identifier: MIT
// Cards as they are: pulled out at any moment, with locked PINs and PIN pads, slow, or broken.
#include "NssDirectory.h"
#include "SoftTokens.h"
#include "platform/linux/security/NssSecurity.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace platform;

namespace {

using Texts = std::vector<std::string>;

class CardLife : public testing::Test {
protected:
    SoftTokens tokens;
    TemporaryFolder folder;
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    Texts log;
    Texts notices;
    NssSecurity security{userInterface, KeychainSources{directory.path(), "", false},
        {.log = [this](const std::string& line) { log.push_back(line); },
            .notice = [this](const std::string& line) { notices.push_back(line); },
            .aside = nullptr,
            .certificateInUse = nullptr}};

    void SetUp() override {
        setenv("QUILLET_TEST_CARD", (folder / "card").c_str(), 1);
        behave("");
        tokens.create("Card");
        directory.create();
        directory.addModule("Awkward", AWKWARD_MODULE);
        security.SecKeychainSetUserInteractionAllowed(true);
        userInterface.passwords = {SoftTokens::pin};
    }

    void behave(const std::string& words) { writeFile(folder / "card", words); }

    ListedIdentity onlyIdentity() {
        auto identities = listed(security);
        EXPECT_EQ(identities.size(), 1U);
        return identities.at(0);
    }

    SecSignature sign(const ListedIdentity& identity) {
        return security.SecKeyCreateSignature(identity.key,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
    }

    void expectSigns(const ListedIdentity& identity) {
        const SecSignature result = sign(identity);
        ASSERT_TRUE(result.signature) << result.error.value_or("");
        EXPECT_TRUE(verifiesSha1Message(identity.der, bytesOf("message"), *result.signature));
    }

    std::string whyNotSigned(const ListedIdentity& identity) {
        const SecSignature result = sign(identity);
        EXPECT_FALSE(result.signature);
        return result.error.value_or("(nothing)");
    }

    OSStatus listingStatus() { return security.SecItemCopyMatching(allIdentities()).status; }
};

} // namespace

TEST_F(CardLife, PulledOutBeforeAListingIsNotThere) {
    tokens.add("Card", {});
    behave("removed");
    EXPECT_EQ(listingStatus(), errSecItemNotFound);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(CardLife, InsertedAfterAListingIsFoundLater) {
    tokens.add("Card", {});
    behave("removed");
    EXPECT_EQ(listingStatus(), errSecItemNotFound);
    behave("");
    for (int i = 0; i < 100 && listingStatus() != errSecSuccess; ++i) {
        usleep(100000); // NSS looks at a reader once in a second
    }
    expectSigns(onlyIdentity());
}

TEST_F(CardLife, PulledOutBetweenListingAndSignatureIsToldInWords) {
    tokens.add("Card", {});
    const ListedIdentity identity = onlyIdentity();
    behave("removed");
    EXPECT_EQ(whyNotSigned(identity), "Card is not there any more.");
    EXPECT_TRUE(userInterface.questions.empty());
    EXPECT_EQ(listingStatus(), errSecItemNotFound);
}

TEST_F(CardLife, PulledOutAndInsertedAgainAsksAgainAndSigns) {
    tokens.add("Card", {});
    const ListedIdentity identity = onlyIdentity();
    expectSigns(identity);
    behave("removed");
    EXPECT_EQ(whyNotSigned(identity), "Card is not there any more.");
    behave("");
    userInterface.passwords = {SoftTokens::pin};
    expectSigns(onlyIdentity());
}

TEST_F(CardLife, PulledOutDuringThePromptIsToldInWords) {
    tokens.add("Card", {});
    const ListedIdentity identity = onlyIdentity();
    behave("remove-at-login");
    EXPECT_EQ(whyNotSigned(identity), "Card is not there any more.");
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(CardLife, PulledOutDuringTheSignatureIsToldInWords) {
    tokens.add("Card", {});
    const ListedIdentity identity = onlyIdentity();
    behave("remove-at-sign");
    EXPECT_EQ(whyNotSigned(identity), "Card is not there any more.");
}

TEST_F(CardLife, PulledOutDuringTheListingsPromptLeavesTheRest) {
    directory.addIdentity({}, "signer");
    tokens.add("Card", {}, {.publicKey = false});
    behave("remove-at-login");
    EXPECT_EQ(
        onlyIdentity().identity->description(), "identity of Example Signer on NSS Certificate DB");
}

TEST_F(CardLife, PulledOutDuringAListingLeavesTheRest) {
    directory.addIdentity({}, "signer");
    tokens.add("Card", {});
    behave("remove-at-find");
    EXPECT_EQ(
        onlyIdentity().identity->description(), "identity of Example Signer on NSS Certificate DB");
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(CardLife, PulledOutAfterASignatureIsNotListedAnyMore) {
    tokens.add("Card", {});
    const ListedIdentity identity = onlyIdentity();
    expectSigns(identity);
    behave("removed");
    EXPECT_EQ(listingStatus(), errSecItemNotFound);
    EXPECT_EQ(whyNotSigned(identity), "Card is not there any more.");
}

TEST_F(CardLife, OfTwoReadersOneMayBeEmptied) {
    tokens.create("Other");
    tokens.add("Card", {});
    tokens.add("Other", {});
    userInterface.passwords = {SoftTokens::pin, SoftTokens::pin};
    const auto both = listed(security);
    ASSERT_EQ(both.size(), 2U);
    behave("removed-Other");
    for (const ListedIdentity& identity : both) {
        if (identity.identity->description().ends_with(" on Card")) {
            expectSigns(identity);
        } else {
            EXPECT_EQ(whyNotSigned(identity), "Other is not there any more.");
        }
    }
    EXPECT_TRUE(onlyIdentity().identity->description().ends_with(" on Card"));
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(CardLife, InsertedDuringThePromptOfAnotherIsFoundLater) {
    tokens.create("Other");
    tokens.add("Card", {});
    tokens.add("Other", {});
    behave("removed-Other");
    const ListedIdentity identity = onlyIdentity();
    behave("removed-Other insert-at-login");
    expectSigns(identity);
    for (int i = 0; i < 100 && listed(security).size() < 2; ++i) {
        usleep(100000); // NSS looks at a reader once in a second
    }
    EXPECT_EQ(listed(security).size(), 2U);
    expectSigns(identity);
}

TEST_F(CardLife, LockedPinIsToldAndNotAskedFor) {
    tokens.add("Card", {});
    behave("pin-locked");
    EXPECT_EQ(
        whyNotSigned(onlyIdentity()), "The PIN of Card is locked, because it was wrong too often.");
    EXPECT_EQ(notices, Texts{"The PIN of \"Card\" is locked, because it was wrong too often."});
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(CardLife, LockedPinOfAListingHasAStatusOfItsOwn) {
    tokens.add("Card", {}, {.publicKey = false});
    behave("pin-locked");
    EXPECT_EQ(listingStatus(), errSecAuthFailed);
    EXPECT_EQ(security.SecCopyErrorMessageString(errSecAuthFailed),
        "The PIN of the certificates is locked, because it was wrong too often.");
}

TEST_F(CardLife, FewTriesAreToldBeforeTheQuestion) {
    tokens.add("Card", {});
    behave("pin-count-low");
    expectSigns(onlyIdentity());
    EXPECT_EQ(notices, Texts{"The PIN of \"Card\" was wrong before. Few tries are left."});
}

TEST_F(CardLife, LastTryIsMadeOnlyWhenTheUserWantsIt) {
    tokens.add("Card", {});
    behave("pin-final-try");
    const ListedIdentity identity = onlyIdentity();
    userInterface.response = NSAlertFirstButtonReturn + 1;
    EXPECT_EQ(whyNotSigned(identity), "The password of Card was not given.");
    EXPECT_TRUE(userInterface.questions.empty());
    security.beginSession(); // in which nothing has been refused yet
    userInterface.response = NSAlertFirstButtonReturn;
    expectSigns(onlyIdentity());
    EXPECT_EQ(userInterface.alerts,
        (Texts{"Last try for the PIN of \"Card\"", "Last try for the PIN of \"Card\""}));
}

TEST_F(CardLife, KeypadIsPointedToAndNoTextIsAskedFor) {
    tokens.add("Card", {});
    behave("keypad");
    expectSigns(onlyIdentity());
    EXPECT_EQ(notices, Texts{"Enter the PIN of \"Card\" on the reader."});
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(CardLife, CancelledKeypadMakesNoSignature) {
    tokens.add("Card", {});
    behave("keypad keypad-cancel");
    EXPECT_TRUE(whyNotSigned(onlyIdentity()).starts_with("Card could not be unlocked: "));
    EXPECT_EQ(notices.size(), 1U);
}

TEST_F(CardLife, KeyThatAuthenticatesAlwaysAsksForEachSignature) {
    tokens.add("Card", {}, {.alwaysAuthenticates = true});
    userInterface.passwords = Texts(5, SoftTokens::pin);
    const ListedIdentity identity = onlyIdentity();
    expectSigns(identity);
    const std::size_t first = userInterface.questions.size();
    EXPECT_EQ(first, 2U); // the card, then the key
    expectSigns(identity);
    EXPECT_EQ(userInterface.questions.size(), first + 1);
}

TEST_F(CardLife, KeyThatAuthenticatesAlwaysMayBeRefused) {
    tokens.add("Card", {}, {.alwaysAuthenticates = true});
    EXPECT_EQ(whyNotSigned(onlyIdentity()), "The password of Card was not given.");
}

class BrokenModule : public CardLife,
                     public testing::WithParamInterface<std::pair<const char*, const char*>> { };

TEST_P(BrokenModule, IsToldInWordsAndTheRestGoesOn) {
    const auto [behaviour, words] = GetParam();
    directory.addIdentity({}, "signer");
    tokens.add("Card", {});
    behave(behaviour);
    expectSigns(onlyIdentity());
    EXPECT_EQ(log,
        Texts{"PKCS #11 module Awkward (" AWKWARD_MODULE ") is left out: " + std::string(words)
            + "."});
}

INSTANTIATE_TEST_SUITE_P(Ways, BrokenModule,
    testing::Values(std::pair("hang-initialize", "it has not begun after 5 seconds"),
        std::pair("crash-initialize", "it crashes"),
        std::pair("fail-initialize", "it fails: An error occurred on the device")));
