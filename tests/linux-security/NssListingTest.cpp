// SPDX-License-Identifier: MIT
#include "NssListingFixture.h"
#include "platform/linux/security/ImportHelp.h"
#include "platform/linux/security/NssSecurity.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <nss.h>
#include <pk11pub.h>
#include <unistd.h>

using namespace platform;

TEST_F(NssListing, MissingDatabaseIsNoDefaultKeychain) {
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecNoDefaultKeychain);
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecNoDefaultKeychain);
    EXPECT_EQ(message(security, errSecNoDefaultKeychain),
        "There is no certificate database in " + directory.path()
            + ".\nTo import a certificate with its key from a file identity.p12, install "
              "libnss3-tools (in Fedora: nss-tools) and enter in a terminal:\nmkdir -p -m 700 '"
            + directory.path() + "'\ncertutil -N -d 'sql:" + directory.path()
            + "'\npk12util -i identity.p12 -d 'sql:" + directory.path() + "'");
    EXPECT_TRUE(filesOf(directory.path()).empty());
}

TEST_F(NssListing, EmptyDatabaseHoldsNoIdentity) {
    directory.create();
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecSuccess);
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
    EXPECT_EQ(message(security, errSecItemNotFound),
        "The certificate database in " + directory.path()
            + " holds no certificate with a private key.\n"
            + platform::importHelp(directory.path(), true));
}

TEST_F(NssListing, DamagedDatabaseHasAStatusOfItsOwn) {
    std::ofstream(directory.path() + "/cert9.db") << "this is no database, whatever its name";
    std::ofstream(directory.path() + "/key4.db") << "nor is this";
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecInvalidKeychain);
    EXPECT_EQ(message(security, errSecInvalidKeychain),
        "The certificate database in " + directory.path() + " is damaged.");
}

TEST_F(NssListing, DatabaseWithoutItsKeyFileIsDamaged) {
    directory.create();
    std::filesystem::remove(directory.path() + "/key4.db");
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecInvalidKeychain);
}

TEST_F(NssListing, DatabaseThatMayNotBeReadHasAStatusOfItsOwn) {
    directory.create();
    std::filesystem::permissions(directory.path(), std::filesystem::perms::none);
    const auto openAsOrdinaryUser = [this] {
        if (geteuid() == 0 && setuid(65534) != 0) {
            _exit(2);
        }
        NssSecurity security(userInterface, directory.path());
        const bool right = security.SecKeychainCopyDefault() == errSecNotAvailable
            && message(security, errSecNotAvailable)
                == "The certificate database in " + directory.path() + " may not be read.";
        _exit(right ? 0 : 1);
    };
    EXPECT_EXIT(openAsOrdinaryUser(), testing::ExitedWithCode(0), "");
    std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all);
}

TEST_F(NssListing, DatabaseThatAppearsLaterIsFound) {
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecNoDefaultKeychain);
    directory.create();
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecSuccess);
}

TEST_F(NssListing, IdentityCarriesItsCertificateAndReferences) {
    directory.create();
    CertificateBuilder builder;
    builder.subject = {{"C", "NL"}, {"O", "Example\nOrg"}, {"CN", "Example Signer"}};
    builder.serialNumber = {0x00, 0xAB, 0xCD};
    const Bytes der = directory.addIdentity(builder);
    NssSecurity security(userInterface, directory.path());
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    const ListedIdentity& identity = identities[0];
    EXPECT_EQ(identity.der, der);
    EXPECT_EQ(identity.commonName, "Example Signer");
    EXPECT_EQ(security.SecCertificateCopySerialNumber(identity.certificate), builder.serialNumber);
    EXPECT_EQ(identity.identity->description(),
        "identity of NL, Example Org, Example Signer on NSS Certificate DB");
    EXPECT_EQ(identity.certificate->description(),
        "certificate of NL, Example Org, Example Signer (serial number 00:AB:CD)");
    EXPECT_EQ(identity.key->description(), "RSA 2048-bit private key on NSS Certificate DB");
}

TEST_F(NssListing, IdentitiesComeInTheOrderInWhichTheyWereAdded) {
    directory.create();
    for (const char* name : {"Zoe", "Adam", "Mary"}) {
        CertificateBuilder builder;
        builder.subject = {{"CN", name}};
        directory.addIdentity(builder, name);
    }
    NssSecurity security(userInterface, directory.path());
    for (int round = 0; round < 2; ++round) {
        const auto identities = listed(security);
        ASSERT_EQ(identities.size(), 3U);
        EXPECT_EQ(identities[0].commonName, "Zoe");
        EXPECT_EQ(identities[1].commonName, "Adam");
        EXPECT_EQ(identities[2].commonName, "Mary");
    }
}

TEST_F(NssListing, HundredIdentitiesAreAllThereOnce) {
    directory.addManyIdentities(100);
    NssSecurity security(userInterface, directory.path());
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 100U);
    for (std::size_t i = 0; i < identities.size(); ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "Identity %04zu", i + 1);
        EXPECT_EQ(identities[i].commonName, name);
    }
}

TEST_F(NssListing, IdentityAddedMeanwhileIsListedNextTime) {
    directory.create();
    directory.addIdentity({}, "first");
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(listed(security).size(), 1U);
    directory.addIdentity({}, "second");
    EXPECT_EQ(listed(security).size(), 2U);
}

TEST_F(NssListing, ExpiredAndNotYetValidCertificatesAreListed) {
    directory.create();
    CertificateBuilder expired;
    expired.subject = {{"CN", "Expired"}};
    expired.validFrom = -7200;
    expired.validTo = -3600;
    directory.addIdentity(expired, "expired");
    CertificateBuilder future;
    future.subject = {{"CN", "Future"}};
    future.validFrom = 3600;
    directory.addIdentity(future, "future");
    NssSecurity security(userInterface, directory.path());
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 2U);
    EXPECT_EQ(identities[0].commonName, "Expired");
    EXPECT_EQ(identities[1].commonName, "Future");
}

TEST_F(NssListing, CertificateWithoutKeyIsNotListed) {
    directory.create();
    CertificateBuilder authority;
    authority.subject = {{"CN", "Example Authority"}};
    directory.addCertificate(authority, "authority");
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecItemNotFound);
    directory.addIdentity({});
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_EQ(identities[0].commonName, "Example Signer");
}

TEST_F(NssListing, RenewedCertificateSharesTheKey) {
    directory.create();
    CertificateBuilder builder;
    builder.key = makeKeyPair("RSA");
    directory.addIdentity(builder, "old");
    directory.addCertificate(builder, "renewed");
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(listed(security).size(), 2U);
}

TEST_F(NssListing, SubjectMayBeEmpty) {
    directory.create();
    CertificateBuilder builder;
    builder.subject = {};
    builder.serialNumber = {0x01};
    directory.addIdentity(builder);
    NssSecurity security(userInterface, directory.path());
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_EQ(
        identities[0].certificate->description(), "certificate of (no subject) (serial number 01)");
}

TEST_F(NssListing, SameCertificateOnTwoTokensIsOneIdentity) {
    directory.create();
    CertificateBuilder builder;
    builder.key = makeKeyPair("RSA");
    builder.serialNumber = {0x01};
    directory.addIdentity(builder);
    NssDirectory card;
    card.create();
    CertificateBuilder other;
    other.subject = {{"CN", "Card Only"}};
    other.serialNumber = {0x02};
    card.addIdentity(other, "card");
    card.addIdentity(builder);

    NssSecurity security(userInterface, directory.path());
    ASSERT_EQ(security.SecKeychainCopyDefault(), errSecSuccess);
    const std::string moduleParameters
        = "configdir='sql:" + card.path() + "' tokenDescription='Test Card' flags=readOnly";
    PK11SlotInfo* slot = SECMOD_OpenUserDB(moduleParameters.c_str());
    ASSERT_NE(slot, nullptr);
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 2U);
    EXPECT_EQ(
        identities[0].identity->description(), "identity of Example Signer on NSS Certificate DB");
    EXPECT_EQ(identities[1].identity->description(), "identity of Card Only on Test Card");

    SECMOD_CloseUserDB(slot);
    PK11_FreeSlot(slot);
    const SecSignature signature = security.SecKeyCreateSignature(identities[1].key,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256, Bytes(32));
    EXPECT_FALSE(signature.signature);
    EXPECT_EQ(signature.error, "Test Card is not there any more.");
    EXPECT_EQ(listed(security).size(), 1U);
}
