// SPDX-License-Identifier: MIT
#include "NssDirectory.h"
#include "platform/linux/security/NssSecurity.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace platform;

namespace {

constexpr const char* rightPassword = "right password";
using Questions = std::vector<std::string>;

class NssPassword : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    NssSecurity security{userInterface, directory.path()};

    void SetUp() override {
        directory.create(rightPassword);
        directory.addIdentity({});
        ASSERT_EQ(security.SecKeychainSetUserInteractionAllowed(true), errSecSuccess);
    }

    SecSignature sign() {
        const auto identities = listed(security);
        return security.SecKeyCreateSignature(identities.at(0).key,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
    }

    bool signs() {
        const auto identities = listed(security);
        const SecSignature result = security.SecKeyCreateSignature(identities.at(0).key,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
        return result.signature
            && verifiesSha1Message(identities[0].der, bytesOf("message"), *result.signature);
    }
};

/// A locked database whose keys show nothing of themselves.
class NssHiddenKeys : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    NssSecurity security{userInterface, directory.path()};

    void SetUp() override {
        directory.addManyIdentities(2);
        directory.changePassword(rightPassword);
    }
};

class ThrowingUserInterface : public UserInterface {
public:
    NSTextView* statusTextView() override { return nullptr; }
    int runModal(const NSAlert&) override { return NSAlertFirstButtonReturn; }
    void deliverNotification(const NSUserNotification&) override { }
    bool openURL(const std::string&) override { return false; }
    std::optional<std::string> askForPassword(const std::string&, bool) override {
        throw std::runtime_error("no terminal");
    }
};

} // namespace

TEST_F(NssPassword, ListingAsksForNoPassword) {
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_EQ(identities[0].key->description(), "RSA 2048-bit private key on NSS Certificate DB");
    EXPECT_TRUE(security.SecKeyIsAlgorithmSupported(identities[0].key, SecKeyOperationType::sign,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256));
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(NssPassword, RightPasswordIsAskedForOnce) {
    userInterface.passwords = {rightPassword};
    EXPECT_TRUE(signs());
    EXPECT_TRUE(signs());
    EXPECT_EQ(userInterface.questions, Questions{"NSS Certificate DB"});
}

TEST_F(NssPassword, WrongPasswordIsAskedForAgain) {
    userInterface.passwords = {"wrong", "", rightPassword};
    EXPECT_TRUE(signs());
    EXPECT_EQ(userInterface.questions,
        (Questions{"NSS Certificate DB", "NSS Certificate DB again", "NSS Certificate DB again"}));
}

TEST_F(NssPassword, HostKnowsTheCertificateWhileItsPasswordIsAskedFor) {
    std::vector<std::pair<std::string, std::size_t>> told; // with the number of questions so far
    KeychainHost host;
    host.certificateInUse = [&](const std::string& subject) {
        told.emplace_back(subject, userInterface.questions.size());
    };
    userInterface.passwords = {rightPassword};
    NssSecurity hosted(userInterface, {directory.path(), "", false}, host);
    hosted.SecKeychainSetUserInteractionAllowed(true);
    const auto identities = listed(hosted);
    EXPECT_TRUE(told.empty()) << "a listing is for no certificate";
    hosted.SecKeyCreateSignature(identities.at(0).key,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
    ASSERT_EQ(told.size(), 2U);
    EXPECT_FALSE(told[0].first.empty());
    EXPECT_EQ(told[0].second, 0U);
    EXPECT_EQ(told[1], std::pair(std::string(), std::size_t{1}));
}

TEST_F(NssPassword, CancelledPasswordMakesNoSignature) {
    const SecSignature result = sign();
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "The password of NSS Certificate DB was not given.");
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(NssPassword, CancellingAfterAWrongPasswordMakesNoSignature) {
    userInterface.passwords = {"wrong"};
    const SecSignature result = sign();
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "The password of NSS Certificate DB was not given.");
    EXPECT_EQ(userInterface.questions.size(), 2U);
}

TEST_F(NssPassword, RefusedPasswordIsNotAskedForAgainInTheSession) {
    int ends = 0;
    security.setSessionEnd([&] { ++ends; });
    userInterface.response = NSAlertFirstButtonReturn + 1;
    EXPECT_FALSE(sign().signature);
    EXPECT_TRUE(userInterface.alerts.empty());
    userInterface.passwords = {rightPassword};
    for (int i = 0; i < 3; ++i) {
        const SecSignature again = sign();
        EXPECT_FALSE(again.signature);
        EXPECT_EQ(again.error, "The password of NSS Certificate DB was not given.");
    }
    EXPECT_EQ(userInterface.questions.size(), 1U);
    EXPECT_EQ(userInterface.alerts,
        Questions{"The password of \"NSS Certificate DB\" was not given"}); // offered once
    EXPECT_EQ(ends, 0);
}

TEST_F(NssPassword, SessionThatAsksForARefusedPasswordCanBeEnded) {
    int ends = 0;
    security.setSessionEnd([&] { ++ends; });
    EXPECT_FALSE(sign().signature);
    EXPECT_EQ(ends, 0);
    EXPECT_FALSE(sign().signature);
    EXPECT_EQ(ends, 1);
}

TEST_F(NssPassword, NextSessionAsksForWhatWasRefused) {
    EXPECT_FALSE(sign().signature);
    security.beginSession();
    userInterface.passwords = {rightPassword};
    EXPECT_TRUE(signs());
}

TEST_F(NssPassword, WhatOneSessionUnlockedIsLockedForTheNext) {
    userInterface.passwords = {rightPassword};
    EXPECT_TRUE(signs());
    const auto identity = listed(security).at(0);
    security.beginSession();
    EXPECT_FALSE(security
                     .SecKeyCreateSignature(identity.key,
                         SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
                         bytesOf("message"))
                     .signature);
    EXPECT_EQ(userInterface.questions.size(), 2U);
    userInterface.passwords = {rightPassword};
    security.beginSession();
    EXPECT_TRUE(signs());
    EXPECT_EQ(userInterface.questions.size(), 3U);
}

TEST_F(NssPassword, LockedTokensStayAsTheyWereWhenThereIsNoPassword) {
    NssDirectory open;
    open.create();
    open.addIdentity({});
    NssSecurity withoutPassword(userInterface, open.path());
    withoutPassword.beginSession(); // before anything is open
    const auto identity = listed(withoutPassword).at(0);
    withoutPassword.beginSession();
    EXPECT_TRUE(withoutPassword
                    .SecKeyCreateSignature(identity.key,
                        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
                        bytesOf("message"))
                    .signature);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(NssPassword, NobodyIsAskedWhileInteractionIsNotAllowed) {
    userInterface.passwords = {rightPassword};
    security.SecKeychainSetUserInteractionAllowed(false);
    const SecSignature result = sign();
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "NSS Certificate DB is locked, and its password may not be asked for.");
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(NssPassword, InteractionIsNotAllowedFromTheStart) {
    NssDirectory other;
    other.create(rightPassword);
    other.addIdentity({});
    NssSecurity fresh(userInterface, other.path());
    const auto identities = listed(fresh);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_FALSE(fresh
                     .SecKeyCreateSignature(identities[0].key,
                         SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, {})
                     .signature);
    EXPECT_TRUE(userInterface.questions.empty());
}

TEST_F(NssPassword, FailingPromptCountsAsCancelled) {
    ThrowingUserInterface throwing;
    NssDirectory other;
    other.create(rightPassword);
    other.addIdentity({});
    NssSecurity fresh(throwing, other.path());
    fresh.SecKeychainSetUserInteractionAllowed(true);
    const SecSignature result = fresh.SecKeyCreateSignature(listed(fresh).at(0).key,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, {});
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "The password of NSS Certificate DB was not given.");
}

TEST_F(NssHiddenKeys, ListingUnlocksWhatWouldStayHidden) {
    security.SecKeychainSetUserInteractionAllowed(true);
    userInterface.passwords = {rightPassword};
    EXPECT_EQ(listed(security).size(), 2U);
    EXPECT_EQ(listed(security).size(), 2U);
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(NssHiddenKeys, RefusedListingIsNotAskedForAgain) {
    security.SecKeychainSetUserInteractionAllowed(true);
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecUserCanceled);
    EXPECT_EQ(security.SecCopyErrorMessageString(errSecUserCanceled),
        "The password of the certificates was not given.");
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
    EXPECT_EQ(userInterface.questions.size(), 1U);
}

TEST_F(NssHiddenKeys, ListingWithoutInteractionSaysSo) {
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecInteractionNotAllowed);
    EXPECT_EQ(security.SecCopyErrorMessageString(errSecInteractionNotAllowed),
        "The certificates are locked, and their password may not be asked for.");
    EXPECT_TRUE(userInterface.questions.empty());
}
