// SPDX-License-Identifier: MIT
// What the listing makes of a certificate's values.
#include "ZqMacClient/ZqKeychainAccess.h"

#include "tests/support/KeychainTest.h"

namespace {

using namespace platform; // NOLINT: the keychain's vocabulary
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class ZqKeychainValuesTest : public ZqKeychainAccessTest { };

TEST_F(ZqKeychainValuesTest, SerialNumberIsReadAsText) {
    keychain.addIdentity("Alice").serial = Bytes{0x41, 0xC3, 0xA9};
    EXPECT_EQ(list().at(0).serialHex, "A\xC3\xA9");
}

TEST_F(ZqKeychainValuesTest, IllFormedSerialNumberHoldsReplacementCharacters) {
    keychain.addIdentity("Alice").serial = Bytes{0xFF, 0x41, 0x00, 0xC3};
    EXPECT_EQ(list().at(0).serialHex,
        "\xEF\xBF\xBD"
        "A" + std::string(1, '\0')
            + "\xEF\xBF\xBD");
}

TEST_F(ZqKeychainValuesTest, EmptySerialNumberIsEmptyText) {
    keychain.addIdentity("Alice").serial = Bytes{};
    EXPECT_EQ(list().at(0).serialHex, "");
}

TEST_F(ZqKeychainValuesTest, AbsentSerialNumberIsFatal) {
    ScriptedIdentity& identity = keychain.addIdentity("Alice");
    identity.serial.reset();
    identity.values.reset(); // not looked at any more
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"Alice"}),
            fatalAlert(
                "Error listing certificates 4", "Error parsing certificate serial number"))));
}

TEST_F(ZqKeychainValuesTest, AbsentValuesAreFatal) {
    keychain.addIdentity("Alice").values.reset();
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"Alice"}),
            fatalAlert("Error listing certificates 5", "Error parsing certificate"))));
}

TEST_F(ZqKeychainValuesTest, IdentityThatWouldBeSkippedIsReadLikeAnyOther) {
    keychain.addIdentity("com.apple.x").serial.reset();
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"com.apple.x"}),
            fatalAlert(
                "Error listing certificates 4", "Error parsing certificate serial number"))));
    keychain.identities.clear();
    keychain.addIdentity("com.apple.x").values.reset();
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"com.apple.x"}),
            fatalAlert("Error listing certificates 5", "Error parsing certificate"))));
}

TEST_F(ZqKeychainValuesTest, ValidityIsNotRead) {
    const ZqCertificate certificate
        = recordOf({commonNames({"Alice"}), {"2.16.840.1.113741.2.1.1.1.6", property("number", 1)},
            {"2.16.840.1.113741.2.1.1.1.7", property("number", 2)}});
    EXPECT_FALSE(certificate.validFrom);
    EXPECT_FALSE(certificate.validTo);
}

// The names

TEST_F(ZqKeychainValuesTest, FirstCommonNameIsAliasAndName) {
    const ZqCertificate certificate
        = recordOf({subjectName({stringProperty("NL")}), commonNames({"First", "Second"})});
    EXPECT_EQ(certificate.alias, "First");
    EXPECT_EQ(certificate.name, "First");
}

TEST_F(ZqKeychainValuesTest, CommonNameCountsWhereverItStands) {
    EXPECT_EQ(
        recordOf({commonNames({"Alice"}), subjectName({stringProperty("NL")})}).alias, "Alice");
}

TEST_F(ZqKeychainValuesTest, WithoutCommonNameTheSubjectIsAliasAndName) {
    const ZqCertificate certificate
        = recordOf({subjectName({stringProperty("NL"), stringProperty("Example Org")})});
    EXPECT_EQ(certificate.subjectDn, "NL, Example Org");
    EXPECT_EQ(certificate.alias, "NL, Example Org");
    EXPECT_EQ(certificate.name, "NL, Example Org");
}

TEST_F(ZqKeychainValuesTest, EmptyCommonNameIsPresent) {
    EXPECT_EQ(recordOf({commonNames({""}), subjectName({stringProperty("NL")})}).name, "");
}

TEST_F(ZqKeychainValuesTest, IssuerAndSubjectAreNotMixedUp) {
    const ZqCertificate certificate = recordOf({commonNames({"Alice"}),
        issuerName({stringProperty("Authority")}), subjectName({stringProperty("Alice")})});
    EXPECT_EQ(certificate.issuerDn, "Authority");
    EXPECT_EQ(certificate.subjectDn, "Alice");
}

TEST_F(ZqKeychainValuesTest, WithoutIssuerAndSubjectTheirTextsAreAbsent) {
    const ZqCertificate certificate = recordOf({commonNames({"Alice"})});
    EXPECT_FALSE(certificate.issuerDn);
    EXPECT_FALSE(certificate.subjectDn);
}

TEST_F(ZqKeychainValuesTest, OtherValuesAreIgnored) {
    const ZqCertificate certificate = recordOf(
        {{"2.5.4.30", "no dictionary"}, {"2.5.29.15", PropertyDictionary()}, commonNames({"A"})});
    EXPECT_EQ(certificate.name, "A");
}

TEST_F(ZqKeychainValuesTest, PlatformsOwnIdentitiesAreSkipped) {
    keychain.addIdentity("com.apple.systemdefault");
    keychain.addIdentity("Alice");
    keychain.addIdentity("com.apple.");
    EXPECT_THAT(namesOf(list()), ElementsAre("Alice"));
}

TEST_F(ZqKeychainValuesTest, PrefixCountsInASubjectToo) {
    keychain.addIdentity("Alice").values = {subjectName({stringProperty("com.apple.x")})};
    EXPECT_THAT(list(), IsEmpty());
}

TEST_F(ZqKeychainValuesTest, NamesThatOnlyResembleThePrefixAreListed) {
    const std::vector<std::string> names{"Com.apple.x", "com.Apple.x", "COM.APPLE.x", "com.apple",
        "com.applex", " com.apple.x", "x com.apple.x"};
    for (const std::string& name : names) {
        keychain.addIdentity(name);
    }
    EXPECT_THAT(namesOf(list()), ElementsAreArray(names));
}

// Distinguished names

TEST_F(ZqKeychainValuesTest, NestedSectionsAreFlattenedIntoOneText) {
    EXPECT_EQ(recordOf({subjectName({stringProperty("NL"),
                           sectionProperty({stringProperty("Org"),
                               sectionProperty({stringProperty("Unit")}), stringProperty("Team")}),
                           stringProperty("Alice")})})
                  .subjectDn,
        "NL, Org, Unit, Team, Alice");
}

TEST_F(ZqKeychainValuesTest, OtherTypesAreSkippedWithoutASeparator) {
    EXPECT_EQ(recordOf({subjectName({property("date", 1), stringProperty("NL"),
                           PropertyDictionary{{kSecPropertyKeyType, "data"}},
                           property("String", "no"), stringProperty("Org")})})
                  .subjectDn,
        "NL, Org");
}

TEST_F(ZqKeychainValuesTest, SeparatorStandsWhereTextHasGoneBefore) {
    EXPECT_EQ(recordOf({subjectName({stringProperty(""), sectionProperty({}), stringProperty("A"),
                           stringProperty(""), sectionProperty({}), stringProperty("B")})})
                  .subjectDn,
        "A, , , B");
}

TEST_F(ZqKeychainValuesTest, EmptyDistinguishedNameIsEmptyText) {
    const ZqCertificate certificate = recordOf({subjectName({})});
    EXPECT_EQ(certificate.subjectDn, "");
    EXPECT_EQ(certificate.name, "");
}

TEST_F(ZqKeychainValuesTest, SeparatorsInValuesAreNotEscaped) {
    EXPECT_EQ(
        recordOf({subjectName({stringProperty("A, B"), stringProperty("C\n\"D\"")})}).subjectDn,
        "A, B, C\n\"D\"");
}

// Programming faults

TEST_F(ZqKeychainValuesTest, ItemThatIsNoDictionaryStopsTheProgram) {
    returnItems({"text"});
    EXPECT_THAT(listing(), AbortsAfter(reading({})));
}

TEST_F(ZqKeychainValuesTest, ValuesOfAnotherShapeStopTheProgram) {
    const PropertyDictionary noValue{{kSecPropertyKeyType, kSecPropertyTypeString}};
    const PropertyDictionary noType{{kSecPropertyKeyValue, "NL"}};
    const std::vector<PropertyDictionary> faults{
        {commonNames({})},
        {commonNames({1})},
        {{kSecOIDCommonName, "Alice"}},
        {{kSecOIDCommonName, noValue}},
        {{kSecOIDCommonName, stringProperty("Alice")}},
        {subjectName({noValue})},
        {subjectName({noType})},
        {subjectName({PropertyDictionary{{kSecPropertyKeyType, 1}}})},
        {subjectName({"NL"})},
        {subjectName({property(kSecPropertyTypeString, 1)})},
        {subjectName({property(kSecPropertyTypeSection, "NL")})},
        {subjectName({sectionProperty({noType})})},
        {{kSecOIDX509V1SubjectName, noValue}},
        {{kSecOIDX509V1IssuerName, noType}},
        {{kSecOIDX509V1IssuerName, PropertyArray()}},
    };
    for (const PropertyDictionary& values : faults) {
        keychain.identities.clear();
        keychain.addIdentity("Alice").values = values;
        EXPECT_THAT(listing(), AbortsAfter(reading({"Alice"})))
            << PropertyValue(values).description();
    }
}

TEST_F(ZqKeychainValuesTest, NeitherCommonNameNorSubjectStopsTheProgram) {
    keychain.addIdentity("Alice").values = {issuerName({stringProperty("Authority")})};
    EXPECT_THAT(listing(), AbortsAfter(reading({"Alice"})));
}

} // namespace
