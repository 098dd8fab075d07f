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

namespace {

class ForeignIdentity final : public SecIdentity {
public:
    std::string description() const override { return "foreign"; }
};

} // namespace

class NssQuery : public NssListing { };

TEST_F(NssQuery, QueryDecidesWhatIsReturned) {
    directory.create();
    directory.addIdentity({});
    NssSecurity security(userInterface, directory.path());
    PropertyDictionary query = allIdentities();
    query.set(kSecReturnRef, false);
    EXPECT_NE(security.SecItemCopyMatching(query).value.value().at(0).as<Bytes>(), nullptr);
    query = allIdentities();
    query.set(kSecReturnData, false);
    EXPECT_NE(
        security.SecItemCopyMatching(query).value.value().at(0).as<SecIdentityRef>(), nullptr);
}

TEST_F(NssQuery, QueryThatIsNotUnderstoodIsAParameterError) {
    NssSecurity security(userInterface, directory.path());
    const auto statusWith = [&](const char* key, PropertyValue value) {
        PropertyDictionary query = allIdentities();
        query.set(key, std::move(value));
        return security.SecItemCopyMatching(query).status;
    };
    EXPECT_EQ(statusWith(kSecClass, "cert"), errSecParam);
    EXPECT_EQ(statusWith(kSecClass, 1), errSecParam);
    EXPECT_EQ(statusWith(kSecMatchLimit, "m_LimitOne"), errSecParam);
    EXPECT_EQ(statusWith(kSecReturnData, "yes"), errSecParam);
    EXPECT_EQ(statusWith(kSecReturnRef, 1), errSecParam);
    EXPECT_EQ(statusWith("labl", "signer"), errSecParam);
    EXPECT_EQ(security.SecItemCopyMatching({}).status, errSecParam);
    EXPECT_EQ(security
                  .SecItemCopyMatching(
                      {{kSecClass, kSecClassIdentity}, {kSecMatchLimit, kSecMatchLimitAll}})
                  .status,
        errSecParam);
    EXPECT_NE(message(security, errSecParam), "(nothing)");
}

TEST_F(NssQuery, ReferencesOfAnotherKeychainAreRefused) {
    NssSecurity security(userInterface, directory.path());
    const SecIdentityRef foreign = std::make_shared<ForeignIdentity>();
    for (const SecIdentityRef& identity : {foreign, SecIdentityRef()}) {
        EXPECT_EQ(security.SecIdentityCopyPrivateKey(identity).status, errSecInvalidItemRef);
        EXPECT_EQ(security.SecIdentityCopyCertificate(identity).status, errSecInvalidItemRef);
    }
    EXPECT_EQ(security.SecCertificateCopySerialNumber(nullptr), std::nullopt);
    EXPECT_FALSE(security.SecCertificateCopyValues(nullptr));
    EXPECT_NE(message(security, errSecInvalidItemRef), "(nothing)");
}

TEST_F(NssQuery, UnknownStatusHasNoText) {
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(security.SecCopyErrorMessageString(errSecSuccess), std::nullopt);
    EXPECT_EQ(security.SecCopyErrorMessageString(12345), std::nullopt);
}

TEST_F(NssQuery, DatabaseIsLeftAsItIs) {
    directory.create();
    directory.addIdentity({});
    const auto before = filesOf(directory.path());
    {
        NssSecurity security(userInterface, directory.path());
        EXPECT_EQ(listed(security).size(), 1U);
    }
    EXPECT_EQ(filesOf(directory.path()), before);
}

TEST_F(NssQuery, ModuleListMayBeMissing) {
    directory.create();
    directory.addIdentity({});
    std::filesystem::remove(directory.path() + "/pkcs11.txt");
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(listed(security).size(), 1U);
}

TEST_F(NssQuery, ModuleThatDoesNotLoadIsPassedOver) {
    directory.create();
    directory.addIdentity({});
    std::ofstream(directory.path() + "/pkcs11.txt", std::ios::app)
        << "\nlibrary=/nowhere/card.so\nname=Card\nNSS=slotParams={0x00000001=[slotFlags=RSA]}\n";
    NssSecurity security(userInterface, directory.path());
    EXPECT_EQ(listed(security).size(), 1U);
}

TEST_F(NssQuery, FolderNameMayHoldBlanksAndQuotes) {
    NssDirectory odd("it's a \"folder\" of J\xC3\xBCrgen");
    odd.create();
    odd.addIdentity({});
    NssSecurity security(userInterface, odd.path());
    EXPECT_EQ(listed(security).size(), 1U);
}

TEST_F(NssQuery, ShutdownIsCleanWhileReferencesRemain) {
    directory.create();
    CertificateBuilder builder;
    builder.serialNumber = {0x01};
    const Bytes der = directory.addIdentity(builder);
    std::vector<ListedIdentity> identities;
    {
        NssSecurity security(userInterface, directory.path());
        identities = listed(security);
        ASSERT_EQ(identities.size(), 1U);
        EXPECT_TRUE(NSS_IsInitialized());
    }
    EXPECT_FALSE(NSS_IsInitialized());
    EXPECT_EQ(identities[0].certificate->description(),
        "certificate of Example Signer (serial number 01)");

    NssSecurity another(userInterface, directory.path());
    EXPECT_EQ(listed(another).at(0).der, der);
    const SecSignature signature = another.SecKeyCreateSignature(identities[0].key,
        SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256, Bytes(32));
    EXPECT_FALSE(signature.signature);
    EXPECT_EQ(signature.error, "The keychain of this private key is closed.");
}

TEST_F(NssQuery, DefaultDatabaseIsInTheHomeFolder) {
    const char* home = std::getenv("HOME");
    const std::string before = home == nullptr ? "" : home;
    setenv("HOME", "/home/somebody", 1);
    EXPECT_EQ(defaultDatabaseDirectory(), "/home/somebody/.pki/nssdb");
    setenv("HOME", "", 1);
    const std::string ofAccount = defaultDatabaseDirectory();
    unsetenv("HOME");
    EXPECT_EQ(defaultDatabaseDirectory(), ofAccount);
    EXPECT_NE(ofAccount, "/home/somebody/.pki/nssdb");
    EXPECT_TRUE(ofAccount.ends_with("/.pki/nssdb"));
    setenv("HOME", before.c_str(), 1);
}
