// SPDX-License-Identifier: MIT
#include "NssDirectory.h"
#include "platform/linux/security/NssSecurity.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

using namespace platform;

namespace {

constexpr auto digestSha256 = SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256;
constexpr auto messageSha1 = SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;

class NssSigning : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;
    NssSecurity security{userInterface, directory.path()};

    void SetUp() override { directory.create(); }

    ListedIdentity onlyIdentity() {
        auto identities = listed(security);
        EXPECT_EQ(identities.size(), 1U);
        return identities.at(0);
    }
};

Bytes someDigest() {
    Bytes digest(32);
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(7 * i);
    }
    return digest;
}

} // namespace

TEST_F(NssSigning, DigestIsSignedWithoutHashingAgain) {
    directory.addIdentity({});
    const ListedIdentity identity = onlyIdentity();
    const SecSignature result
        = security.SecKeyCreateSignature(identity.key, digestSha256, someDigest());
    ASSERT_TRUE(result.signature) << result.error.value_or("");
    EXPECT_EQ(result.signature->size(), 256U);
    EXPECT_TRUE(verifiesSha256Digest(identity.der, someDigest(), *result.signature));
    Bytes other = someDigest();
    other[31] ^= 1;
    EXPECT_FALSE(verifiesSha256Digest(identity.der, other, *result.signature));
}

TEST_F(NssSigning, MessageIsHashedWithSha1) {
    directory.addIdentity({});
    const ListedIdentity identity = onlyIdentity();
    for (const std::string& message :
        {std::string(), std::string("message"), std::string(32, 'x'), std::string(1 << 20, '\0')}) {
        const SecSignature result
            = security.SecKeyCreateSignature(identity.key, messageSha1, bytesOf(message));
        ASSERT_TRUE(result.signature) << result.error.value_or("");
        EXPECT_TRUE(verifiesSha1Message(identity.der, bytesOf(message), *result.signature));
        EXPECT_FALSE(verifiesSha1Message(identity.der, bytesOf("else"), *result.signature));
    }
}

TEST_F(NssSigning, DigestOfAnotherLengthIsRefused) {
    directory.addIdentity({});
    const ListedIdentity identity = onlyIdentity();
    for (const std::size_t length : {0U, 20U, 31U, 33U}) {
        const SecSignature result
            = security.SecKeyCreateSignature(identity.key, digestSha256, Bytes(length));
        EXPECT_FALSE(result.signature);
        EXPECT_EQ(result.error,
            "A SHA-256 digest has 32 bytes, but " + std::to_string(length) + " were given.");
    }
}

TEST_F(NssSigning, EachIdentitySignsWithItsOwnKey) {
    directory.addIdentity({}, "first");
    directory.addIdentity({}, "second");
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 2U);
    for (const ListedIdentity& identity : identities) {
        const SecSignature result
            = security.SecKeyCreateSignature(identity.key, digestSha256, someDigest());
        ASSERT_TRUE(result.signature) << result.error.value_or("");
        for (const ListedIdentity& other : identities) {
            EXPECT_EQ(verifiesSha256Digest(other.der, someDigest(), *result.signature),
                other.identity == identity.identity);
        }
    }
}

TEST_F(NssSigning, OneOfHundredIdentitiesSigns) {
    directory.addManyIdentities(100);
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 100U);
    for (const std::size_t index : {0U, 50U, 99U}) {
        const SecSignature result
            = security.SecKeyCreateSignature(identities[index].key, digestSha256, someDigest());
        ASSERT_TRUE(result.signature) << result.error.value_or("");
        EXPECT_TRUE(verifiesSha256Digest(identities[index].der, someDigest(), *result.signature));
    }
}

TEST_F(NssSigning, RsaKeySupportsBothAlgorithms) {
    directory.addIdentity({});
    const ListedIdentity identity = onlyIdentity();
    for (const SecKeyAlgorithm algorithm : {digestSha256, messageSha1}) {
        EXPECT_TRUE(security.SecKeyIsAlgorithmSupported(
            identity.key, SecKeyOperationType::sign, algorithm));
        EXPECT_FALSE(
            security.SecKeyIsAlgorithmSupported(nullptr, SecKeyOperationType::sign, algorithm));
    }
}

TEST_F(NssSigning, EllipticCurveIdentityIsListedButDoesNotSign) {
    CertificateBuilder builder;
    builder.key = makeKeyPair("EC");
    directory.addIdentity(builder);
    const ListedIdentity identity = onlyIdentity();
    EXPECT_EQ(identity.key->description(), "EC 256-bit private key on NSS Certificate DB");
    for (const SecKeyAlgorithm algorithm : {digestSha256, messageSha1}) {
        EXPECT_FALSE(security.SecKeyIsAlgorithmSupported(
            identity.key, SecKeyOperationType::sign, algorithm));
        const SecSignature result
            = security.SecKeyCreateSignature(identity.key, algorithm, someDigest());
        EXPECT_FALSE(result.signature);
        EXPECT_EQ(result.error, "The private key on NSS Certificate DB is not an RSA key.");
    }
}

TEST_F(NssSigning, KeyThatHasGoneIsToldInWords) {
    directory.addIdentity({}, "signer");
    const ListedIdentity identity = onlyIdentity();
    directory.removeKeyAndCertificate("signer");
    const SecSignature result
        = security.SecKeyCreateSignature(identity.key, digestSha256, someDigest());
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "NSS Certificate DB holds no private key of this certificate.");
}

TEST_F(NssSigning, MissingKeyIsRefused) {
    const SecSignature result = security.SecKeyCreateSignature(nullptr, digestSha256, someDigest());
    EXPECT_FALSE(result.signature);
    EXPECT_EQ(result.error, "This is no private key of the keychain.");
}

TEST_F(NssSigning, NobodyIsAskedWithoutAPassword) {
    directory.addIdentity({});
    security.SecKeychainSetUserInteractionAllowed(true);
    EXPECT_TRUE(
        security.SecKeyCreateSignature(onlyIdentity().key, digestSha256, someDigest()).signature);
    EXPECT_TRUE(userInterface.questions.empty());
}
