// SPDX-License-Identifier: MIT
// What is listed of databases and cards that are locked.
#include "NssDirectory.h"
#include "SoftTokens.h"
#include "platform/linux/security/NssSecurity.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

constexpr const char* password = "right password";
using Texts = std::vector<std::string>;

CertificateBuilder named(const std::string& name) {
    CertificateBuilder builder;
    builder.subject = {{"CN", name}};
    return builder;
}

Texts namesOn(NssSecurity& security) {
    Texts names;
    for (const ListedIdentity& identity : listed(security)) {
        names.push_back(identity.commonName);
    }
    return names;
}

/// "Identity 0001" shows no public key, "Paired" does.
class LockedDatabase : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    NssSecurity security{userInterface, directory.path()};

    void SetUp() override {
        security.SecKeychainSetUserInteractionAllowed(true);
        userInterface.passwords = {password};
    }

    void makeMixed() {
        directory.addManyIdentities(1);
        directory.changePassword(password);
        directory.addIdentity(named("Paired"), "paired");
    }
};

class LockedCard : public testing::Test {
protected:
    SoftTokens tokens;
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    NssSecurity security{userInterface, directory.path()};

    void SetUp() override {
        directory.create();
        directory.addModule("Soft Cards", SoftTokens::module());
        tokens.create("Card");
        security.SecKeychainSetUserInteractionAllowed(true);
        userInterface.passwords = {SoftTokens::pin};
    }

    SecSignature sign(const ListedIdentity& identity) {
        return security.SecKeyCreateSignature(identity.key,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
    }
};

} // namespace

TEST_F(LockedDatabase, IdentityWithoutPublicKeyIsListedBesideOthers) {
    makeMixed();
    EXPECT_EQ(namesOn(security), (Texts{"Identity 0001", "Paired"}));
    EXPECT_EQ(namesOn(security), (Texts{"Identity 0001", "Paired"}));
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(LockedDatabase, RefusalLeavesWhatPublicKeysVouchFor) {
    makeMixed();
    userInterface.passwords.clear();
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(LockedDatabase, CertificateWhosePrivateKeyIsGoneIsNotListed) {
    makeMixed();
    CertificateBuilder gone = named("Gone");
    gone.key = makeKeyPair("RSA");
    directory.addIdentity(gone, "gone");
    directory.removeKeyAndCertificate("gone");
    directory.addCertificate(gone, "gone");
    EXPECT_EQ(namesOn(security), (Texts{"Identity 0001", "Paired"}));
}

TEST_F(LockedDatabase, EmptyOneAsksForNothing) {
    directory.create(password);
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(LockedDatabase, CertificatesOfAuthoritiesAskForNothing) {
    directory.create(password);
    directory.addIdentity(named("Paired"), "paired");
    CertificateBuilder authority = named("Authority");
    authority.isAuthority = true;
    directory.addCertificate(authority, "authority");
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(LockedDatabase, CertificateOfSomebodyElseIsNotListed) {
    directory.create(password);
    directory.addIdentity(named("Paired"), "paired");
    directory.addCertificate(named("Somebody"), "somebody");
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(LockedCard, ThatShowsCertificatesAndPublicKeysStaysQuiet) {
    tokens.add("Card", named("First"));
    tokens.add("Card", named("Second"));
    EXPECT_EQ(namesOn(security).size(), 2U);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(LockedCard, IsUnlockedForTheKeyOfACertificateWithoutPublicKey) {
    tokens.add("Card", named("Paired"));
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    const Texts names = namesOn(security);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
        (std::set<std::string>{"Hidden", "Paired"}));
    EXPECT_EQ(names.size(), 2U);
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(LockedCard, IsUnlockedForTheCertificateOfAPublicKey) {
    tokens.add("Card", named("Paired"));
    tokens.add("Card", named("Private"), {.isCertificatePrivate = true});
    EXPECT_EQ(namesOn(security).size(), 2U);
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(LockedCard, IsUnlockedWhenItShowsNothing) {
    tokens.add("Card", named("Private"), {.publicKey = false, .isCertificatePrivate = true});
    EXPECT_EQ(namesOn(security), Texts{"Private"});
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

// Such as `openssl req -x509` makes.
TEST_F(LockedCard, OwnCertificateThatOnlySaysItIsAnAuthoritysIsAskedForAndListed) {
    CertificateBuilder own = named("Own");
    own.isAuthority = true;
    own.hasKeyUsage = false;
    tokens.add("Card", named("Paired"));
    tokens.add("Card", own, {.publicKey = false});
    EXPECT_EQ(namesOn(security).size(), 2U);
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(LockedCard, CertificatesOfAuthoritiesAskForNothing) {
    CertificateBuilder authority = named("Authority");
    authority.isAuthority = true;
    tokens.add("Card", named("Paired"));
    tokens.add("Card", authority, {.key = false, .publicKey = false});
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(LockedCard, OwnCertificateOfAnAuthorityIsListedOnceUnlocked) {
    CertificateBuilder own = named("Own");
    own.isAuthority = true;
    tokens.add("Card", named("Paired"));
    tokens.add("Card", own, {.publicKey = false});
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_TRUE(sign(identities[0]).signature);
    EXPECT_EQ(namesOn(security).size(), 2U);
}

TEST_F(LockedCard, RefusalLeavesWhatPublicKeysVouchFor) {
    tokens.add("Card", named("Paired"));
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    userInterface.passwords.clear();
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_EQ(namesOn(security), Texts{"Paired"});
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(LockedCard, CertificateWhosePrivateKeyIsGoneIsNotListedOnceUnlocked) {
    const auto gone = tokens.add("Card", named("Gone"));
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    tokens.remove("Card", gone.id, "key");
    EXPECT_EQ(namesOn(security), Texts{"Hidden"});
}

TEST_F(LockedCard, KeyThatIsGoneIsToldWhenItShouldSign) {
    const auto gone = tokens.add("Card", named("Gone"));
    tokens.remove("Card", gone.id, "key");
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U); // its public key vouches for it
    EXPECT_EQ(sign(identities[0]).error, "Card holds no private key of this certificate.");
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
}

TEST_F(LockedCard, SignsOnceUnlocked) {
    tokens.add("Card", named("First"));
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    for (int i = 0; i < 2; ++i) {
        const SecSignature signature = sign(identities[0]);
        ASSERT_TRUE(signature.signature) << signature.error.value_or("");
        EXPECT_TRUE(
            verifiesSha1Message(identities[0].der, bytesOf("message"), *signature.signature));
    }
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(LockedCard, TokenThatNobodyPreparedIsPassedOver) {
    SoftTokens none; // one slot, whose token is new
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(LockedCard, TwoCardsAreTwoQuestions) {
    tokens.create("Other");
    tokens.add("Card", named("First"), {.publicKey = false});
    tokens.add("Other", named("Second"), {.publicKey = false});
    userInterface.passwords = {SoftTokens::pin, SoftTokens::pin};
    EXPECT_EQ(namesOn(security).size(), 2U);
    EXPECT_EQ(userInterface.questions.size(), 2U);
}

TEST_F(LockedCard, CertificateThatCannotBeReadIsListedWithoutValues) {
    const Bytes junk = {0x30, 0x03, 0x02, 0x01, 0x05};
    tokens.addBytes("Card", junk);
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_EQ(identities[0].der, junk);
    EXPECT_EQ(security.SecCertificateCopySerialNumber(identities[0].certificate), std::nullopt);
    EXPECT_FALSE(security.SecCertificateCopyValues(identities[0].certificate));
    EXPECT_EQ(identities[0].certificate->description(), "certificate of (unreadable)");
    EXPECT_FALSE(security.SecKeyIsAlgorithmSupported(identities[0].key, SecKeyOperationType::sign,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256));
}
