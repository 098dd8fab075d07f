// SPDX-License-Identifier: MIT
// The listing of the keychain's identities.
#include "ZqMacClient/ZqKeychainAccess.h"

#include "tests/support/KeychainTest.h"

namespace {

using namespace platform; // NOLINT: the keychain's vocabulary
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// The query

TEST_F(ZqKeychainAccessTest, DefaultKeychainThatDoesNotOpenIsFatal) {
    keychain.defaultKeychainStatus = errSecItemNotFound;
    EXPECT_THAT(listing(),
        ElementsAreArray(joined({"SecKeychainCopyDefault"},
            fatalAlert("Error opening the default keychain",
                "The specified item could not be found in the keychain."))));
}

TEST_F(ZqKeychainAccessTest, QueryHasExactlyFourEntriesInOrder) {
    list();
    ASSERT_EQ(keychain.queries.size(), 1U);
    const auto& entries = keychain.queries[0].entries();
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].first, "class");
    EXPECT_EQ(*entries[0].second.as<std::string>(), "idnt");
    EXPECT_EQ(entries[1].first, "r_Data");
    EXPECT_TRUE(*entries[1].second.as<bool>());
    EXPECT_EQ(entries[2].first, "r_Ref");
    EXPECT_TRUE(*entries[2].second.as<bool>());
    EXPECT_EQ(entries[3].first, "m_Limit");
    EXPECT_EQ(*entries[3].second.as<std::string>(), "m_LimitAll");
}

TEST_F(ZqKeychainAccessTest, FailedQueryIsFatal) {
    keychain.matching = {errSecAuthFailed, std::nullopt};
    keychain.errorMessages[errSecAuthFailed] = "The password is not correct.";
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}),
            fatalAlert("Error listing certificates 1", "The password is not correct."))));
}

TEST_F(ZqKeychainAccessTest, KeychainWithoutIdentitiesIsAFailedQuery) {
    keychain.matching = {errSecItemNotFound, std::nullopt};
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}),
            fatalAlert("Error listing certificates 1",
                "The specified item could not be found in the keychain."))));
}

TEST_F(ZqKeychainAccessTest, StatusWithoutTextGivesEmptyDetails) {
    keychain.matching = {-1, std::nullopt};
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}), fatalAlert("Error listing certificates 1", ""))));
}

TEST_F(ZqKeychainAccessTest, NoResultObjectIsAnEmptyListWithoutAMessage) {
    keychain.matching = {errSecSuccess, std::nullopt};
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_THAT(memory.trace.events(), ElementsAreArray(reading({})));
}

// The items

TEST_F(ZqKeychainAccessTest, IdentitiesAreReadAndListedInTheirOrder) {
    keychain.addIdentity("Zoe");
    keychain.addIdentity("Alice");
    EXPECT_THAT(namesOf(list()), ElementsAre("Zoe", "Alice"));
    EXPECT_THAT(memory.trace.events(), ElementsAreArray(reading({"Zoe", "Alice"})));
}

TEST_F(ZqKeychainAccessTest, ReferencesAreThoseOfTheIdentity) {
    keychain.addIdentity("Alice");
    const ZqCertificate certificate = list().at(0);
    EXPECT_EQ(certificate.certificateRef->description(), "<Alice>");
    EXPECT_EQ(certificate.privateKeyRef->description(), "<Alice>");
}

TEST_F(ZqKeychainAccessTest, BytesUnderCertdataAreAccepted) {
    keychain.addIdentity("Alice").dataKey = "certdata";
    EXPECT_EQ(list(true).at(0).certificate, base64Encoded(bytesOf("Alice")));
}

TEST_F(ZqKeychainAccessTest, BytesUnderVDataCountBeforeCertdata) {
    PropertyDictionary both = item("Alice");
    both.set(kSecCertificateData, Bytes{2});
    both.set(kSecValueData, Bytes{1});
    returnItems({both});
    EXPECT_EQ(list(true).at(0).certificate, base64Encoded(Bytes{1}));
}

TEST_F(ZqKeychainAccessTest, AnythingButBytesUnderVDataLeavesItToCertdata) {
    PropertyDictionary both = item("Alice");
    both.set(kSecValueData, "not bytes");
    both.set(kSecCertificateData, Bytes{2});
    returnItems({both});
    EXPECT_EQ(list(true).at(0).certificate, base64Encoded(Bytes{2}));
}

TEST_F(ZqKeychainAccessTest, MissingBytesAreFatalAndShowTheWholeList) {
    keychain.addIdentity("Alice");
    keychain.addIdentity("Bob").dataKey = "other";
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"Alice"}),
            fatalAlert("Error listing certificates 2",
                "Keychain services did not return v_Data This is the console output: "
                "({v_Data = 5 bytes; v_Ref = <Alice>}, {other = 3 bytes; v_Ref = <Bob>})"))));
}

TEST_F(ZqKeychainAccessTest, MissingReferenceIsFatal) {
    returnItems({PropertyDictionary{{kSecValueData, Bytes{1}}}});
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}),
            fatalAlert("Error listing certificates 3", "Keychain services did not return v_Ref"))));
}

TEST_F(ZqKeychainAccessTest, ReferenceToSomethingElseIsFatal) {
    const SecCertificateRef certificate = std::make_shared<NamedObject<SecCertificate>>("c");
    const SecKeyRef key = std::make_shared<NamedObject<SecKey>>("k");
    for (const PropertyValue& foreign : PropertyArray{certificate, key, "text", SecIdentityRef()}) {
        returnItems({PropertyDictionary{{kSecValueData, Bytes{1}}, {kSecValueRef, foreign}}});
        EXPECT_THAT(listing(),
            ElementsAreArray(joined(reading({}),
                fatalAlert(
                    "Error listing certificates 3", "Keychain services did not return v_Ref"))));
    }
}

TEST_F(ZqKeychainAccessTest, BytesAreMissedBeforeTheReference) {
    returnItems({PropertyDictionary()});
    EXPECT_THAT(
        listing(), testing::Contains(testing::StartsWith("alert: Error listing certificates 2")));
}

TEST_F(ZqKeychainAccessTest, FailingPrivateKeyIsFatalAndTheCertificateIsNotCopied) {
    keychain.addIdentity("Alice").keyStatus = errSecItemNotFound;
    keychain.addIdentity("Bob");
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}), Events{"SecIdentityCopyPrivateKey <Alice>"},
            fatalAlert("Error obtaining identity certificate and key references",
                "The specified item could not be found in the keychain."))));
}

TEST_F(ZqKeychainAccessTest, FailingCertificateIsFatalAndStopsTheLoop) {
    keychain.addIdentity("Alice").certificateStatus = -5;
    keychain.addIdentity("Bob");
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({}),
            Events{"SecIdentityCopyPrivateKey <Alice>", "SecIdentityCopyCertificate <Alice>"},
            fatalAlert("Error obtaining identity certificate and key references", ""))));
}

TEST_F(ZqKeychainAccessTest, IdentityWithoutCertificateIsLoggedAndStopsTheProgram) {
    keychain.addIdentity("Alice").hasCertificate = false;
    EXPECT_THAT(listing(),
        AbortsAfter(joined(reading({}),
            Events{"SecIdentityCopyPrivateKey <Alice>", "SecIdentityCopyCertificate <Alice>",
                "log: Parsing certificiate nil"})));
}

TEST_F(ZqKeychainAccessTest, IdentityWithoutKeyIsListedWithoutOne) {
    keychain.addIdentity("Alice").hasKey = false;
    EXPECT_EQ(list(false).at(0).privateKeyRef, nullptr);
}

TEST_F(ZqKeychainAccessTest, RawValuesAreListedOnlyWhenAskedFor) {
    keychain.addIdentity("Alice");
    EXPECT_FALSE(list(false).at(0).certificate);
    EXPECT_EQ(list(true).at(0).certificate, base64Encoded(bytesOf("Alice")));
}

TEST_F(ZqKeychainAccessTest, DigestIsTheSha1OfTheBytes) {
    keychain.addIdentity("Alice");
    // printf Alice | openssl dgst -sha1 -binary | base64
    EXPECT_EQ(list().at(0).certificateDigest, "NTGCZMmpj695llwnCsgMVgZ3TfE=");
}

TEST_F(ZqKeychainAccessTest, SameCertificateTwiceHasTheSameDigestWithAndWithoutRawValues) {
    keychain.addIdentity("Alice").der = {1, 2, 3};
    keychain.addIdentity("Bob").der = {1, 2, 3};
    for (const bool withRawValues : {false, true}) {
        const auto certificates = list(withRawValues);
        EXPECT_EQ(certificates.at(0).certificateDigest, digestOf("\1\2\3"));
        EXPECT_EQ(certificates.at(1).certificateDigest, digestOf("\1\2\3"));
    }
}

} // namespace
