// SPDX-License-Identifier: MIT
// Signing with a key of the keychain, and digests.
#include "ZqMacClient/ZqKeychainAccess.h"
#include "foundation/HexEncoding.h"
#include "tests/support/PlatformTest.h"

namespace {

using namespace platform; // NOLINT: the keychain's vocabulary
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto digestMode = SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256;
constexpr auto messageMode = SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;

class ZqKeychainSigningTest : public PlatformTest {
protected:
    std::optional<Bytes> sign(const std::optional<std::string>& algorithm) {
        return ZqKeychainAccess().signData(input, key, algorithm);
    }

    const SecKeyRef key = std::make_shared<NamedObject<SecKey>>("key");
    const Bytes input = Bytes(32, 0xA5);
};

TEST_F(ZqKeychainSigningTest, AsksForTheAlgorithmThenSignsAndReturnsTheSignature) {
    EXPECT_EQ(sign("SHA256withRSA"), (Bytes{0x53, 0x49, 0x47}));
    EXPECT_THAT(memory.trace.events(),
        ElementsAre("SecKeyIsAlgorithmSupported <key>", "SecKeyCreateSignature <key>"));
    EXPECT_THAT(keychain.askedAlgorithms, ElementsAre(digestMode));
    EXPECT_EQ(keychain.signatures.at(0).algorithm, digestMode);
}

TEST_F(ZqKeychainSigningTest, Sha256WithRsaTakesTheInputAsAReadyDigest) {
    sign("SHA256withRSA");
    EXPECT_EQ(keychain.signatures.at(0).data, input);
}

TEST_F(ZqKeychainSigningTest, EveryOtherNameAndNoNameSignTheInputAsAMessageWithSha1) {
    const std::vector<std::optional<std::string>> names{"sha256withrsa", "SHA256WITHRSA",
        "SHA256withRSA ", " SHA256withRSA", "SHA256withRSAEncryption", "SHA256", "SHA1withRSA",
        "SHA512withRSA", "", std::nullopt};
    for (const auto& name : names) {
        keychain.askedAlgorithms.clear();
        keychain.signatures.clear();
        EXPECT_TRUE(sign(name));
        EXPECT_THAT(keychain.askedAlgorithms, ElementsAre(messageMode)) << name.value_or("absent");
        EXPECT_EQ(keychain.signatures.at(0).algorithm, messageMode) << name.value_or("absent");
        EXPECT_EQ(keychain.signatures.at(0).data, input);
    }
}

TEST_F(ZqKeychainSigningTest, WithoutANameArgumentTheInputIsAMessage) {
    EXPECT_TRUE(ZqKeychainAccess().signData(input, key));
    EXPECT_EQ(keychain.signatures.at(0).algorithm, messageMode);
}

TEST_F(ZqKeychainSigningTest, KeyThatDoesNotSupportTheAlgorithmPrintsOneLine) {
    keychain.algorithmSupported = false;
    for (const char* const name : {"SHA256withRSA", "SHA1withRSA"}) {
        EXPECT_THAT(eventsOf([&] { EXPECT_FALSE(sign(name)); }),
            ElementsAre("SecKeyIsAlgorithmSupported <key>", "print: Unsupported algorithm"));
    }
    EXPECT_THAT(memory.log(), IsEmpty());
}

TEST_F(ZqKeychainSigningTest, FailedSignaturePrintsItsError) {
    keychain.signature = {std::nullopt, "the digest has the wrong length"};
    EXPECT_FALSE(sign("SHA256withRSA"));
    EXPECT_THAT(memory.trace.events(),
        ElementsAre("SecKeyIsAlgorithmSupported <key>", "SecKeyCreateSignature <key>",
            "print: Error creating signature: Optional(the digest has the wrong length)"));
}

TEST_F(ZqKeychainSigningTest, FailedSignatureWithoutErrorPrintsNil) {
    keychain.signature = {std::nullopt, std::nullopt};
    EXPECT_FALSE(sign("SHA1withRSA"));
    EXPECT_EQ(memory.trace.events().back(), "print: Error creating signature: nil");
}

TEST_F(ZqKeychainSigningTest, EmptyInputIsSigned) {
    EXPECT_TRUE(ZqKeychainAccess().signData(BytesView(), key, "SHA1withRSA"));
    EXPECT_THAT(keychain.signatures.at(0).data, IsEmpty());
}

TEST_F(ZqKeychainSigningTest, AbsentKeyStopsTheProgram) {
    EXPECT_THAT(eventsOf([&] { ZqKeychainAccess().signData(input, nullptr, "SHA256withRSA"); }),
        AbortsAfter(Events{}));
}

TEST_F(ZqKeychainSigningTest, AbsentInputStopsTheProgram) {
    EXPECT_THAT(eventsOf([&] { ZqKeychainAccess().signData(std::nullopt, key, "SHA256withRSA"); }),
        Aborts());
    EXPECT_THAT(keychain.signatures, IsEmpty());
}

struct Digests {
    const char* input;
    const char* sha1;
    const char* sha256;
};

// FIPS 180-4 examples.
constexpr Digests knownDigests[] = {
    {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709",
        "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d",
        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
};

TEST_F(ZqKeychainSigningTest, DigestsAreTheWellKnownOnes) {
    const ZqKeychainAccess access;
    for (const Digests& known : knownDigests) {
        EXPECT_EQ(hexEncodedString(access.sha1(bytesOf(known.input))), known.sha1);
        EXPECT_EQ(hexEncodedString(access.sha256(bytesOf(known.input))), known.sha256);
    }
}

TEST_F(ZqKeychainSigningTest, DataLongerThan32BitsCountStopsTheProgram) {
    const std::uint8_t byte = 0;
    // Refused by its length alone: not a byte of it is read.
    const BytesView tooLong(&byte, std::size_t{1} << 32);
    EXPECT_THAT(eventsOf([&] { ZqKeychainAccess().sha1(tooLong); }), AbortsAfter(Events{}));
    EXPECT_THAT(eventsOf([&] { ZqKeychainAccess().sha256(tooLong); }), AbortsAfter(Events{}));
}

TEST_F(ZqKeychainSigningTest, DescriptionIsTheQualifiedClassName) {
    EXPECT_EQ(ZqKeychainAccess().description(), "ZqMacClient.ZqKeychainAccess");
}

} // namespace
