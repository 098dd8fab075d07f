// SPDX-License-Identifier: MIT
// The listing of the keychain's identities.
#include "ZqMacClient/ZqKeychainAccess.h"

#include "foundation/Base64.h"
#include "tests/support/CertificateValues.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/ReferenceDigests.h"

namespace {

using namespace platform; // NOLINT: the keychain's vocabulary
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class ZqKeychainAccessTest : public PlatformTest {
protected:
    std::vector<ZqCertificate> list(bool withRawValues = false) {
        return ZqKeychainAccess().listCertificates(withRawValues);
    }
    Events listing() {
        return eventsOf([this] { list(); });
    }
    /// The only record of a keychain whose only identity has these values.
    ZqCertificate recordOf(PropertyDictionary values) {
        keychain.addIdentity("signer").values = std::move(values);
        return list().at(0);
    }
    /// An item as the query returns it.
    PropertyDictionary item(const std::string& name) {
        keychain.addIdentity(name);
        const SecIdentityRef reference = std::make_shared<NamedObject<SecIdentity>>(name);
        return {{kSecValueRef, reference}};
    }
    void returnItems(PropertyArray items) { keychain.matching = {errSecSuccess, std::move(items)}; }
    /// What happens while the query is made and the given identities are read.
    static Events reading(const std::vector<std::string>& names) {
        Events events{"SecKeychainCopyDefault", "SecItemCopyMatching"};
        for (const std::string& name : names) {
            events = joined(events,
                Events{"SecIdentityCopyPrivateKey <" + name + ">",
                    "SecIdentityCopyCertificate <" + name + ">",
                    "log: Parsing certificiate Optional(<" + name + ">)"});
        }
        return events;
    }

    ScriptedKeychain& keychain = memory.security();
};

std::string digestOf(const Bytes& der) {
    return base64Encoded(referenceSha1(der));
}

std::vector<std::string> namesOf(const std::vector<ZqCertificate>& certificates) {
    std::vector<std::string> names;
    for (const ZqCertificate& certificate : certificates) {
        names.push_back(certificate.name.value());
    }
    return names;
}

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
        EXPECT_EQ(certificates.at(0).certificateDigest, digestOf({1, 2, 3}));
        EXPECT_EQ(certificates.at(1).certificateDigest, digestOf({1, 2, 3}));
    }
}

TEST_F(ZqKeychainAccessTest, SerialNumberIsReadAsText) {
    keychain.addIdentity("Alice").serial = Bytes{0x41, 0xC3, 0xA9};
    EXPECT_EQ(list().at(0).serialHex, "A\xC3\xA9");
}

TEST_F(ZqKeychainAccessTest, IllFormedSerialNumberHoldsReplacementCharacters) {
    keychain.addIdentity("Alice").serial = Bytes{0xFF, 0x41, 0x00, 0xC3};
    EXPECT_EQ(list().at(0).serialHex,
        "\xEF\xBF\xBD"
        "A" + std::string(1, '\0')
            + "\xEF\xBF\xBD");
}

TEST_F(ZqKeychainAccessTest, EmptySerialNumberIsEmptyText) {
    keychain.addIdentity("Alice").serial = Bytes{};
    EXPECT_EQ(list().at(0).serialHex, "");
}

TEST_F(ZqKeychainAccessTest, AbsentSerialNumberIsFatal) {
    ScriptedIdentity& identity = keychain.addIdentity("Alice");
    identity.serial.reset();
    identity.values.reset(); // not looked at any more
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"Alice"}),
            fatalAlert(
                "Error listing certificates 4", "Error parsing certificate serial number"))));
}

TEST_F(ZqKeychainAccessTest, AbsentValuesAreFatal) {
    keychain.addIdentity("Alice").values.reset();
    EXPECT_THAT(listing(),
        ElementsAreArray(joined(reading({"Alice"}),
            fatalAlert("Error listing certificates 5", "Error parsing certificate"))));
}

TEST_F(ZqKeychainAccessTest, ValidityIsNotRead) {
    const ZqCertificate certificate
        = recordOf({commonNames({"Alice"}), {"2.16.840.1.113741.2.1.1.1.6", property("number", 1)},
            {"2.16.840.1.113741.2.1.1.1.7", property("number", 2)}});
    EXPECT_FALSE(certificate.validFrom);
    EXPECT_FALSE(certificate.validTo);
}

// The names

TEST_F(ZqKeychainAccessTest, FirstCommonNameIsAliasAndName) {
    const ZqCertificate certificate
        = recordOf({subjectName({stringProperty("NL")}), commonNames({"First", "Second"})});
    EXPECT_EQ(certificate.alias, "First");
    EXPECT_EQ(certificate.name, "First");
}

TEST_F(ZqKeychainAccessTest, CommonNameCountsWhereverItStands) {
    EXPECT_EQ(
        recordOf({commonNames({"Alice"}), subjectName({stringProperty("NL")})}).alias, "Alice");
}

TEST_F(ZqKeychainAccessTest, WithoutCommonNameTheSubjectIsAliasAndName) {
    const ZqCertificate certificate
        = recordOf({subjectName({stringProperty("NL"), stringProperty("Example Org")})});
    EXPECT_EQ(certificate.subjectDn, "NL, Example Org");
    EXPECT_EQ(certificate.alias, "NL, Example Org");
    EXPECT_EQ(certificate.name, "NL, Example Org");
}

TEST_F(ZqKeychainAccessTest, EmptyCommonNameIsPresent) {
    EXPECT_EQ(recordOf({commonNames({""}), subjectName({stringProperty("NL")})}).name, "");
}

TEST_F(ZqKeychainAccessTest, IssuerAndSubjectAreNotMixedUp) {
    const ZqCertificate certificate = recordOf({commonNames({"Alice"}),
        issuerName({stringProperty("Authority")}), subjectName({stringProperty("Alice")})});
    EXPECT_EQ(certificate.issuerDn, "Authority");
    EXPECT_EQ(certificate.subjectDn, "Alice");
}

TEST_F(ZqKeychainAccessTest, WithoutIssuerAndSubjectTheirTextsAreAbsent) {
    const ZqCertificate certificate = recordOf({commonNames({"Alice"})});
    EXPECT_FALSE(certificate.issuerDn);
    EXPECT_FALSE(certificate.subjectDn);
}

TEST_F(ZqKeychainAccessTest, OtherValuesAreIgnored) {
    const ZqCertificate certificate = recordOf(
        {{"2.5.4.30", "no dictionary"}, {"2.5.29.15", PropertyDictionary()}, commonNames({"A"})});
    EXPECT_EQ(certificate.name, "A");
}

TEST_F(ZqKeychainAccessTest, PlatformsOwnIdentitiesAreSkipped) {
    keychain.addIdentity("com.apple.systemdefault");
    keychain.addIdentity("Alice");
    keychain.addIdentity("com.apple.");
    EXPECT_THAT(namesOf(list()), ElementsAre("Alice"));
}

TEST_F(ZqKeychainAccessTest, PrefixCountsInASubjectToo) {
    keychain.addIdentity("Alice").values = {subjectName({stringProperty("com.apple.x")})};
    EXPECT_THAT(list(), IsEmpty());
}

TEST_F(ZqKeychainAccessTest, NamesThatOnlyResembleThePrefixAreListed) {
    const std::vector<std::string> names{"Com.apple.x", "com.Apple.x", "COM.APPLE.x", "com.apple",
        "com.applex", " com.apple.x", "x com.apple.x"};
    for (const std::string& name : names) {
        keychain.addIdentity(name);
    }
    EXPECT_THAT(namesOf(list()), ElementsAreArray(names));
}

// Distinguished names

TEST_F(ZqKeychainAccessTest, NestedSectionsAreFlattenedIntoOneText) {
    EXPECT_EQ(recordOf({subjectName({stringProperty("NL"),
                           sectionProperty({stringProperty("Org"),
                               sectionProperty({stringProperty("Unit")}), stringProperty("Team")}),
                           stringProperty("Alice")})})
                  .subjectDn,
        "NL, Org, Unit, Team, Alice");
}

TEST_F(ZqKeychainAccessTest, OtherTypesAreSkippedWithoutASeparator) {
    EXPECT_EQ(recordOf({subjectName({property("date", 1), stringProperty("NL"),
                           PropertyDictionary{{kSecPropertyKeyType, "data"}},
                           property("String", "no"), stringProperty("Org")})})
                  .subjectDn,
        "NL, Org");
}

TEST_F(ZqKeychainAccessTest, SeparatorStandsWhereTextHasGoneBefore) {
    EXPECT_EQ(recordOf({subjectName({stringProperty(""), sectionProperty({}), stringProperty("A"),
                           stringProperty(""), sectionProperty({}), stringProperty("B")})})
                  .subjectDn,
        "A, , , B");
}

TEST_F(ZqKeychainAccessTest, EmptyDistinguishedNameIsEmptyText) {
    const ZqCertificate certificate = recordOf({subjectName({})});
    EXPECT_EQ(certificate.subjectDn, "");
    EXPECT_EQ(certificate.name, "");
}

TEST_F(ZqKeychainAccessTest, SeparatorsInValuesAreNotEscaped) {
    EXPECT_EQ(
        recordOf({subjectName({stringProperty("A, B"), stringProperty("C\n\"D\"")})}).subjectDn,
        "A, B, C\n\"D\"");
}

// Programming faults

TEST_F(ZqKeychainAccessTest, ItemThatIsNoDictionaryStopsTheProgram) {
    returnItems({"text"});
    EXPECT_THAT(listing(), AbortsAfter(reading({})));
}

TEST_F(ZqKeychainAccessTest, ValuesOfAnotherShapeStopTheProgram) {
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

TEST_F(ZqKeychainAccessTest, NeitherCommonNameNorSubjectStopsTheProgram) {
    keychain.addIdentity("Alice").values = {issuerName({stringProperty("Authority")})};
    EXPECT_THAT(listing(), AbortsAfter(reading({"Alice"})));
}

} // namespace
