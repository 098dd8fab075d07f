// SPDX-License-Identifier: MIT
// The keychain of macOS over the Security framework in memory.
#include "platform/macos/MacPlatform.h"
#include "tests/macos/MemoryKeychainTest.h"
#include "tests/support/MemoryPlatform.h"

namespace platform {

namespace {

using memory::IdentityScript;
using memory::makeArray;
using memory::makeData;
using memory::makeDictionary;
using memory::makeIdentity;
using memory::makeString;
using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

const PropertyDictionary allIdentities{{kSecClass, kSecClassIdentity}, {kSecReturnData, true},
    {kSecReturnRef, true}, {kSecMatchLimit, kSecMatchLimitAll}};

class MacSecurityTest : public MemoryKeychainTest {
protected:
    /// The identity as the query returns it.
    SecIdentityRef find(const IdentityScript& script) {
        keychain.matching = [script] { return makeArray({makeIdentity(script)}); };
        const auto found = security->SecItemCopyMatching(allIdentities);
        return *found.value.value().at(0).as<SecIdentityRef>();
    }
    SecCertificateRef certificateOf(const IdentityScript& script) {
        return security->SecIdentityCopyCertificate(find(script)).value.value();
    }
    SecKeyRef keyOf(const IdentityScript& script) {
        return security->SecIdentityCopyPrivateKey(find(script)).value.value();
    }
    SecSignature sign(std::string_view data) {
        return security->SecKeyCreateSignature(keyOf({.name = "Alice"}),
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256, bytesOf(data));
    }

    /// The keychain's own question ends with this error.
    void answerQuestions(CFIndex code) {
        keychain.signature = [](const std::string&) -> CFDataRef { return nullptr; };
        keychain.signatureError = u"The user canceled the operation.";
        keychain.signatureErrorCode = code;
    }

    MemoryPlatform memory;
    int ends = 0;
    const std::unique_ptr<SessionSecurity> security
        = makeMacSecurity(memory.userInterface(), [this] { ++ends; });
};

TEST_F(MacSecurityTest, DefaultKeychainIsOpenedAndReleased) {
    EXPECT_EQ(security->SecKeychainCopyDefault(), errSecSuccess);
}

TEST_F(MacSecurityTest, MissingDefaultKeychainIsToldByItsStatus) {
    keychain.defaultStatus = errSecNoDefaultKeychain;
    EXPECT_EQ(security->SecKeychainCopyDefault(), errSecNoDefaultKeychain);
}

TEST_F(MacSecurityTest, QueryIsMadeOfThePlatformsConstantsInOrder) {
    security->SecItemCopyMatching(allIdentities);
    ASSERT_EQ(keychain.queries.size(), 1U);
    EXPECT_THAT(keychain.queries[0],
        ElementsAre(Pair(::kSecClass, ::kSecClassIdentity), Pair(::kSecReturnData, kCFBooleanTrue),
            Pair(::kSecReturnRef, kCFBooleanTrue), Pair(::kSecMatchLimit, ::kSecMatchLimitAll)));
}

TEST_F(MacSecurityTest, QueryMaySayNo) {
    security->SecItemCopyMatching({{kSecReturnData, false}});
    EXPECT_THAT(keychain.queries.at(0), ElementsAre(Pair(::kSecReturnData, kCFBooleanFalse)));
}

TEST_F(MacSecurityTest, UnknownKeysAndValuesAreRefused) {
    const PropertyDictionary queries[]
        = {{{"m_Issuers", true}}, {{kSecClass, "cert"}}, {{kSecMatchLimit, 1}}};
    for (const PropertyDictionary& query : queries) {
        const auto result = security->SecItemCopyMatching(query);
        EXPECT_EQ(result.status, errSecParam);
        EXPECT_FALSE(result.value);
    }
    EXPECT_TRUE(keychain.queries.empty());
}

TEST_F(MacSecurityTest, FoundItemsCarryDataAndIdentity) {
    keychain.matching = [] {
        return makeArray({makeDictionary({{makeString(u"v_Data"), makeData("first")},
                              {makeString(u"v_Ref"), makeIdentity({.name = "Zoe"})}}),
            makeDictionary({{makeString(u"certdata"), makeData("second")},
                {makeString(u"v_Ref"), makeIdentity({.name = "Alice"})}})});
    };
    const auto result = security->SecItemCopyMatching(allIdentities);
    EXPECT_EQ(result.status, errSecSuccess);
    EXPECT_EQ(description(result.value.value()),
        "({v_Data = 5 bytes; v_Ref = <identity Zoe>}, "
        "{certdata = 6 bytes; v_Ref = <identity Alice>})");
}

TEST_F(MacSecurityTest, FailedQueryHasNoValue) {
    keychain.queryStatus = errSecItemNotFound;
    const auto result = security->SecItemCopyMatching(allIdentities);
    EXPECT_EQ(result.status, errSecItemNotFound);
    EXPECT_FALSE(result.value);
}

TEST_F(MacSecurityTest, QueryMaySucceedWithoutAResult) {
    keychain.matching = []() -> CFArrayRef { return nullptr; };
    const auto result = security->SecItemCopyMatching(allIdentities);
    EXPECT_EQ(result.status, errSecSuccess);
    EXPECT_FALSE(result.value);
}

TEST_F(MacSecurityTest, KeyAndCertificateOfAnIdentity) {
    const SecIdentityRef identity = find({.name = "Alice"});
    EXPECT_EQ(
        security->SecIdentityCopyPrivateKey(identity).value.value()->description(), "<key Alice>");
    EXPECT_EQ(security->SecIdentityCopyCertificate(identity).value.value()->description(),
        "<certificate Alice>");
}

TEST_F(MacSecurityTest, FailedCopiesTellTheirStatus) {
    const SecIdentityRef identity = find(
        {.name = "Alice", .keyStatus = errSecAuthFailed, .certificateStatus = errSecItemNotFound});
    const auto key = security->SecIdentityCopyPrivateKey(identity);
    EXPECT_EQ(key.status, errSecAuthFailed);
    EXPECT_FALSE(key.value);
    const auto certificate = security->SecIdentityCopyCertificate(identity);
    EXPECT_EQ(certificate.status, errSecItemNotFound);
    EXPECT_FALSE(certificate.value);
}

TEST_F(MacSecurityTest, SerialNumberIsTheBytesAsTheyStand) {
    EXPECT_THAT(security->SecCertificateCopySerialNumber(
                    certificateOf({.name = "Alice", .serial = std::string("\x00\xc3", 2)})),
        Optional(Bytes{0x00, 0xc3}));
    EXPECT_EQ(security->SecCertificateCopySerialNumber(
                  certificateOf({.name = "Alice", .serial = std::nullopt})),
        std::nullopt);
}

TEST_F(MacSecurityTest, ValuesOfACertificate) {
    const auto names = [] {
        return makeDictionary({{makeString(u"2.5.4.3"),
            makeDictionary({{makeString(u"type"), makeString(u"array")},
                {makeString(u"value"), makeArray({makeString(u"Example Signer")})}})}});
    };
    const auto values
        = security->SecCertificateCopyValues(certificateOf({.name = "Alice", .values = names}));
    EXPECT_EQ(PropertyValue(values.value()).description(),
        R"({2.5.4.3 = {type = "array"; value = ("Example Signer")}})");
}

TEST_F(MacSecurityTest, CertificateThatCannotBeParsedHasNoValues) {
    const auto nothing = []() -> CFDictionaryRef { return nullptr; };
    EXPECT_FALSE(
        security->SecCertificateCopyValues(certificateOf({.name = "Alice", .values = nothing})));
}

TEST_F(MacSecurityTest, BothAlgorithmsAreAskedForByTheirOwnConstant) {
    const SecKeyRef key = keyOf({.name = "Alice"});
    using Algorithm = SecKeyAlgorithm;
    const std::pair<Algorithm, ::SecKeyAlgorithm> algorithms[]
        = {{Algorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256,
               ::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256},
            {Algorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
                ::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1}};
    for (const auto& [algorithm, constant] : algorithms) {
        EXPECT_TRUE(
            security->SecKeyIsAlgorithmSupported(key, SecKeyOperationType::sign, algorithm));
        EXPECT_EQ(keychain.algorithmRequests.back().key, "Alice");
        EXPECT_EQ(keychain.algorithmRequests.back().operation, kSecKeyOperationTypeSign);
        EXPECT_EQ(keychain.algorithmRequests.back().algorithm, constant);
        security->SecKeyCreateSignature(key, algorithm, bytesOf("data"));
        EXPECT_EQ(keychain.signatureRequests.back().algorithm, constant);
    }
}

TEST_F(MacSecurityTest, KeyMayNotSupportAnAlgorithm) {
    keychain.isAlgorithmSupported = false;
    EXPECT_FALSE(
        security->SecKeyIsAlgorithmSupported(keyOf({.name = "Alice"}), SecKeyOperationType::sign,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1));
}

TEST_F(MacSecurityTest, SignatureIsMadeOverExactlyTheData) {
    const std::string data("\x00\x01signed bytes\xff", 15);
    const SecSignature result = sign(data);
    const BytesView expected = bytesOf("signed ");
    EXPECT_EQ(keychain.signatureRequests.back().data, data);
    EXPECT_EQ(keychain.signatureRequests.back().key, "Alice");
    ASSERT_TRUE(result.signature);
    EXPECT_EQ(result.signature->size(), expected.size() + data.size());
    EXPECT_FALSE(result.error);
}

TEST_F(MacSecurityTest, NothingCanBeSignedToo) {
    EXPECT_TRUE(sign("").signature);
    EXPECT_EQ(keychain.signatureRequests.back().data, "");
}

TEST_F(MacSecurityTest, FailedSignatureTellsTheError) {
    keychain.signature = [](const std::string&) -> CFDataRef { return nullptr; };
    keychain.signatureError = u"The user name or passphrase is not correct.";
    const SecSignature result = sign("data");
    EXPECT_FALSE(result.signature);
    EXPECT_THAT(result.error, Optional(std::string("The user name or passphrase is not correct.")));
}

TEST_F(MacSecurityTest, FailedSignatureMayHaveNoError) {
    keychain.signature = [](const std::string&) -> CFDataRef { return nullptr; };
    const SecSignature result = sign("data");
    EXPECT_FALSE(result.signature);
    EXPECT_FALSE(result.error);
}

TEST_F(MacSecurityTest, RefusedQuestionIsNotAskedAgainInTheSession) {
    constexpr CFIndex canceled = -128, canceledForKey = -2147415839, denied = -2147416032;
    for (const CFIndex code : {canceled, canceledForKey, denied}) {
        security->beginSession();
        memory.userInterface().responses = {NSAlertFirstButtonReturn + 1};
        answerQuestions(code);
        keychain.signatureRequests.clear();
        sign("data");
        EXPECT_EQ(sign("data").error, "The keychain's question was refused in this session.");
        sign("data");
        EXPECT_EQ(keychain.signatureRequests.size(), 1U) << code;
    }
    EXPECT_EQ(memory.userInterface().alerts.size(), 3U); // once in a session
    EXPECT_EQ(ends, 0);
}

TEST_F(MacSecurityTest, SessionThatAsksForARefusedKeyCanBeEnded) {
    answerQuestions(-128);
    sign("data");
    EXPECT_TRUE(memory.userInterface().alerts.empty());
    sign("data");
    ASSERT_EQ(memory.userInterface().alerts.size(), 1U);
    EXPECT_THAT(memory.userInterface().alerts[0].buttons,
        ElementsAre("End the session", "Go on without it"));
    EXPECT_EQ(ends, 1);
}

TEST_F(MacSecurityTest, OtherErrorsAreNoRefusal) {
    answerQuestions(-25293);
    sign("data");
    sign("data");
    EXPECT_EQ(keychain.signatureRequests.size(), 2U);
}

TEST_F(MacSecurityTest, NextSessionAsksForWhatWasRefused) {
    answerQuestions(-128);
    sign("data");
    security->beginSession();
    keychain.signature = memory::Keychain().signature;
    EXPECT_TRUE(sign("data").signature);
    EXPECT_EQ(keychain.locks, 0); // it is that of all the user's programs
}

TEST_F(MacSecurityTest, LockingLocksTheDefaultKeychain) {
    security->lock();
    EXPECT_EQ(keychain.locks, 1);
}

TEST_F(MacSecurityTest, StatusesHaveTextsOrNot) {
    keychain.messages[errSecItemNotFound] = u"The specified item could not be found.";
    EXPECT_THAT(security->SecCopyErrorMessageString(errSecItemNotFound),
        Optional(std::string("The specified item could not be found.")));
    EXPECT_EQ(security->SecCopyErrorMessageString(-1), std::nullopt);
}

TEST_F(MacSecurityTest, InteractionIsAllowedAsAsked) {
    EXPECT_EQ(security->SecKeychainSetUserInteractionAllowed(true), errSecSuccess);
    keychain.interactionStatus = -1;
    EXPECT_EQ(security->SecKeychainSetUserInteractionAllowed(false), -1);
    EXPECT_THAT(keychain.interactions, ElementsAre(true, false));
}

} // namespace

} // namespace platform
