// SPDX-License-Identifier: MIT
// The program's own listing and signing over the keychain of macOS.
#include "ZqMacClient/ZqKeychainAccess.h"
#include "platform/macos/MacPlatform.h"
#include "tests/macos/MemoryKeychainTest.h"
#include "tests/support/MemoryPlatform.h"

namespace {

using memory::makeArray;
using memory::makeData;
using memory::makeDictionary;
using memory::makeString;

/// The platform in memory with the keychain of macOS in place of the scripted one.
class PlatformWithKeychain : public platform::Platform {
public:
    platform::Application& application() override { return rest.application(); }
    platform::UserInterface& userInterface() override { return rest.userInterface(); }
    platform::System& system() override { return rest.system(); }
    platform::Security& security() override { return *m_security; }
    platform::Network& network() override { return rest.network(); }

    MemoryPlatform rest;

private:
    const std::unique_ptr<platform::Security> m_security
        = platform::makeMacSecurity(rest.userInterface(), nullptr);
    const platform::PlatformScope m_scope{*this};
};

CFDictionaryRef property(std::u16string_view type, CFTypeRef value) {
    return makeDictionary({{makeString(u"type"), makeString(type)},
        {makeString(u"label"), makeString(u"2.5.4.0")}, {makeString(u"value"), value}});
}

CFDictionaryRef name(std::u16string_view country, std::u16string_view commonName) {
    return property(u"section",
        makeArray({property(u"string", makeString(country)),
            property(u"section", makeArray({property(u"string", makeString(commonName))})),
            property(u"date", memory::makeDate())}));
}

CFDictionaryRef valuesOfExampleSigner() {
    return makeDictionary({
        {makeString(u"2.5.4.3"), property(u"array", makeArray({makeString(u"Example Signer")}))},
        {makeString(u"2.16.840.1.113741.2.1.1.1.5"), name(u"NL", u"Example Authority")},
        {makeString(u"2.16.840.1.113741.2.1.1.1.8"), name(u"NL", u"Example Signer")},
        {makeString(u"2.16.840.1.113741.2.1.1.1.6"), property(u"number", memory::makeNumber(1))},
    });
}

class MacListingTest : public MemoryKeychainTest {
protected:
    MacListingTest() {
        keychain.matching = [] {
            return makeArray({makeDictionary({{makeString(u"v_Data"), makeData("Alice")},
                {makeString(u"v_Ref"),
                    memory::makeIdentity({.name = "Alice",
                        .serial = "\x12\x34",
                        .values = valuesOfExampleSigner})}})});
        };
    }
};

TEST_F(MacListingTest, RecordsAreReadFromCoreFoundation) {
    PlatformWithKeychain platform;
    const std::vector<ZqCertificate> certificates = ZqKeychainAccess().listCertificates(true);
    ASSERT_EQ(certificates.size(), 1U);
    EXPECT_EQ(certificates[0].name, "Example Signer");
    EXPECT_EQ(certificates[0].issuerDn, "NL, Example Authority");
    EXPECT_EQ(certificates[0].subjectDn, "NL, Example Signer");
    EXPECT_EQ(certificates[0].serialHex, "\x12\x34");
    EXPECT_EQ(certificates[0].certificate, "QWxpY2U=");
    EXPECT_THAT(platform.rest.log(),
        testing::ElementsAre("Parsing certificiate Optional(<certificate Alice>)"));
}

TEST_F(MacListingTest, TheKeyOfARecordSigns) {
    PlatformWithKeychain platform;
    const ZqCertificate certificate = ZqKeychainAccess().listCertificates(false).at(0);
    const auto signature = ZqKeychainAccess().signData(
        bytesOf("digest"), certificate.privateKeyRef, "SHA256withRSA");
    const BytesView expected = bytesOf("signed digest");
    EXPECT_EQ(signature, Bytes(expected.begin(), expected.end()));
}

TEST_F(MacListingTest, EmptyKeychainIsAFatalAlert) {
    PlatformWithKeychain platform;
    keychain.queryStatus = platform::errSecItemNotFound;
    keychain.messages[platform::errSecItemNotFound] = u"The item could not be found.";
    EXPECT_THROW(ZqKeychainAccess().listCertificates(false), ProcessExit);
    EXPECT_EQ(
        platform.rest.userInterface().alerts.at(0).informativeText, "The item could not be found.");
}

} // namespace
