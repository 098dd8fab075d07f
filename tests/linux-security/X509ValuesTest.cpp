// SPDX-License-Identifier: MIT
#include "platform/linux/security/X509Values.h"
#include "X509Fixture.h"
#include "foundation/Utf8.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

using namespace platform;

TEST(X509Values, NamesKeepTheCertificatesOwnOrder) {
    const X509Values values
        = valuesOfSubject({{"CN", "Signer"}, {"C", "NL"}, {"OU", "Unit"}, {"O", "Org"}});
    EXPECT_EQ(subjectOf(values),
        (Lines{"2.5.4.3=Signer", "2.5.4.6=NL", "2.5.4.11=Unit", "2.5.4.10=Org"}));
    EXPECT_EQ(values.subjectText(), "Signer, NL, Unit, Org");
}

TEST(X509Values, IssuerAndSubjectAreSectionsOfTheirOwn) {
    CertificateBuilder builder;
    builder.issuer = {{"C", "BE"}, {"CN", "Authority"}};
    const PropertyDictionary all = valuesOf(builder).values();
    const PropertyDictionary& issuer = property(all, kSecOIDX509V1IssuerName);
    EXPECT_EQ(textUnder(issuer, kSecPropertyKeyType), kSecPropertyTypeSection);
    EXPECT_EQ(flat(list(issuer)), (Lines{"2.5.4.6=BE", "2.5.4.3=Authority"}));
    const PropertyDictionary& subject = property(all, kSecOIDX509V1SubjectName);
    EXPECT_EQ(textUnder(subject, kSecPropertyKeyType), kSecPropertyTypeSection);
    EXPECT_EQ(flat(list(subject)), (Lines{"2.5.4.3=Example Signer"}));
}

TEST(X509Values, AttributesCarryAReadableLabel) {
    const PropertyDictionary all
        = valuesOfSubject({{"C", "NL"}, {"1.2.3.4.5.6", "private"}}).values();
    const PropertyArray& subject = list(property(all, kSecOIDX509V1SubjectName));
    EXPECT_EQ(textUnder(*subject.at(0).as<PropertyDictionary>(), kSecPropertyKeyLocalizedLabel),
        "countryName");
    EXPECT_EQ(textUnder(*subject.at(1).as<PropertyDictionary>(), kSecPropertyKeyLocalizedLabel),
        "1.2.3.4.5.6");
}

TEST(X509Values, RdnOfSeveralAttributesIsANestedSection) {
    const X509Values values = valuesOfSubject({{"C", "NL"}, {"CN", "Signer", V_ASN1_UTF8STRING},
        {"serialNumber", "42", V_ASN1_PRINTABLESTRING, true}, {"O", "Org"}});
    // DER sorts the attributes of one RDN by their encoding.
    EXPECT_EQ(subjectOf(values),
        (Lines{"2.5.4.6=NL", "[", "2.5.4.5=42", "2.5.4.3=Signer", "]", "2.5.4.10=Org"}));
}

TEST(X509Values, TwoRdnsOfSeveralAttributesStayApart) {
    const X509Values values = valuesOfSubject({{"CN", "A"}, {"O", "B", V_ASN1_UTF8STRING, true},
        {"CN", "C"}, {"O", "D", V_ASN1_UTF8STRING, true}});
    EXPECT_EQ(subjectOf(values),
        (Lines{"[", "2.5.4.3=A", "2.5.4.10=B", "]", "[", "2.5.4.3=C", "2.5.4.10=D", "]"}));
}

TEST(X509Values, AllCommonNamesAreListedInOrder) {
    const PropertyDictionary all = valuesOfSubject(
        {{"CN", "first"}, {"O", "Org"}, {"CN", "second", V_ASN1_UTF8STRING, true},
            {"CN", "third"}}).values();
    const PropertyDictionary& names = property(all, kSecOIDCommonName);
    EXPECT_EQ(textUnder(names, kSecPropertyKeyType), kSecPropertyTypeArray);
    ASSERT_EQ(list(names).size(), 3U);
    EXPECT_EQ(*list(names)[0].as<std::string>(), "first");
    EXPECT_EQ(*list(names)[1].as<std::string>(), "second");
    EXPECT_EQ(*list(names)[2].as<std::string>(), "third");
}

TEST(X509Values, WithoutCommonNameThereIsNoSuchEntry) {
    const PropertyDictionary all = valuesOfSubject({{"O", "Org"}}).values();
    EXPECT_EQ(all.find(kSecOIDCommonName), nullptr);
    EXPECT_NE(all.find(kSecOIDX509V1SubjectName), nullptr);
}

TEST(X509Values, EmptySubjectIsAnEmptySection) {
    const X509Values values = valuesOfSubject({});
    const PropertyDictionary all = values.values();
    EXPECT_TRUE(list(property(all, kSecOIDX509V1SubjectName)).empty());
    EXPECT_EQ(all.find(kSecOIDCommonName), nullptr);
    EXPECT_EQ(values.subjectText(), "");
}

TEST(X509Values, SerialNumberIsTheIntegersContent) {
    Bytes twenty(20, 0xEE);
    twenty[0] = 0x7F;
    for (const Bytes& content : {Bytes{0x01}, Bytes{0x00}, Bytes{0x00, 0x80}, Bytes{0xFF},
             Bytes{0x80, 0x01}, Bytes{0x00, 0xFF, 0x00}, twenty}) {
        CertificateBuilder builder;
        builder.serialNumber = content;
        EXPECT_EQ(valuesOf(builder).serialNumber(), content);
    }
}

TEST(X509Values, SerialNumberWithNeedlessZerosIsKept) {
    CertificateBuilder builder;
    builder.key = smallKey();
    builder.serialNumber = {0x11, 0x22, 0x33};
    Bytes der = builder.build();
    const auto place = std::search(
        der.begin(), der.end(), builder.serialNumber.begin(), builder.serialNumber.end());
    ASSERT_NE(place, der.end());
    const Bytes padded = {0x00, 0x00, 0x01};
    std::copy(padded.begin(), padded.end(), place);
    EXPECT_EQ(X509Values::parse(der).value().serialNumber(), padded);
}

TEST(X509Values, VersionAndSerialNumberAreTexts) {
    CertificateBuilder builder;
    builder.serialNumber = {0x00, 0xAB, 0x01};
    const X509Values values = valuesOf(builder);
    const PropertyDictionary all = values.values();
    EXPECT_EQ(textUnder(property(all, "2.16.840.1.113741.2.1.1.1.2"), kSecPropertyKeyValue), "3");
    EXPECT_EQ(
        textUnder(property(all, "2.16.840.1.113741.2.1.1.1.3"), kSecPropertyKeyValue), "00 AB 01");
    EXPECT_EQ(values.serialText(), "00:AB:01");
}

TEST(X509Values, VersionWithALeadingZeroByteIsRead) {
    CertificateBuilder builder;
    builder.key = smallKey();
    const Bytes version = {0xA0, 0x04, 0x02, 0x02, 0x00, 0x02};
    const auto values = X509Values::parse(withField(builder.build(), 0, version));
    ASSERT_TRUE(values);
    EXPECT_EQ(
        textUnder(property(values->values(), "2.16.840.1.113741.2.1.1.1.2"), kSecPropertyKeyValue),
        "3");
}

TEST(X509Values, VersionThatIsNoSmallNumberIsRefused) {
    CertificateBuilder builder;
    builder.key = smallKey();
    const Bytes version = {0xA0, 0x04, 0x02, 0x02, 0x01, 0x02};
    EXPECT_FALSE(X509Values::parse(withField(builder.build(), 0, version)));
    const Bytes nothing = {0xA0, 0x02, 0x02, 0x00};
    EXPECT_FALSE(X509Values::parse(withField(builder.build(), 0, nothing)));
}

TEST(X509Values, EmptyRdnGivesNoText) {
    CertificateBuilder builder;
    builder.key = smallKey();
    const Bytes subject = {0x30, 0x10, 0x31, 0x00, 0x31, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x04,
        0x03, 0x0C, 0x03, 'J', 'o', 'e'};
    const auto values = X509Values::parse(withField(builder.build(), 5, subject));
    ASSERT_TRUE(values);
    EXPECT_EQ(values->subjectText(), "Joe");
    EXPECT_EQ(subjectOf(*values), std::vector<std::string>{"2.5.4.3=Joe"});
}

TEST(X509Values, AuthorityIsWhoItsBasicConstraintsAndKeyUsageName) {
    CertificateBuilder builder;
    EXPECT_FALSE(valuesOf(builder).isOfAuthority());
    builder.isAuthority = true;
    EXPECT_TRUE(valuesOf(builder).isOfAuthority());
    builder.keyUsage = "critical,digitalSignature,cRLSign,keyCertSign";
    EXPECT_TRUE(valuesOf(builder).isOfAuthority());
    builder.keyUsage = "digitalSignature,cRLSign";
    EXPECT_FALSE(valuesOf(builder).isOfAuthority());
    builder.isAuthority = false;
    builder.keyUsage = "keyCertSign";
    EXPECT_FALSE(valuesOf(builder).isOfAuthority());
    builder.isAuthority = true;
    builder.keyUsage = "";
    builder.hasKeyUsage = false;
    EXPECT_FALSE(valuesOf(builder).isOfAuthority());
}

TEST(X509Values, PublicKeyTellsItsAlgorithm) {
    const auto keyOf = [](const char* algorithm) {
        CertificateBuilder builder;
        builder.key = makeKeyPair(algorithm);
        return valuesOf(builder).publicKey();
    };
    const X509Values::PublicKey rsa = keyOf("RSA");
    EXPECT_TRUE(rsa.isRsa);
    EXPECT_EQ(rsa.algorithm, "RSA");
    EXPECT_EQ(rsa.bits, 2048U);
    EXPECT_FALSE(keyOf("RSA-PSS").isRsa);
    EXPECT_FALSE(keyOf("EC").isRsa);
    EXPECT_EQ(keyOf("EC").algorithm, "EC");
    EXPECT_FALSE(keyOf("ED25519").isRsa);
}

TEST(X509Values, RsaKeyThatIsDamagedIsMeasuredAsOpenSslDoesOrRefused) {
    CertificateBuilder builder;
    builder.key = makeKeyPair("RSA");
    const Bytes der = builder.build();
    const X509Values intact = X509Values::parse(der).value();
    ASSERT_EQ(intact.publicKey().bits, 2048U);
    // From the algorithm's object identifier on: everything before the modulus.
    const Bytes oid{0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};
    const auto found = std::search(der.begin(), der.end(), oid.begin(), oid.end());
    ASSERT_NE(found, der.end());
    std::size_t accepted = 0;
    for (std::ptrdiff_t offset = 0; offset < 35; ++offset) {
        for (const int change : {0x01, 0x02, 0x10, 0x40, 0x80, 0xFF}) {
            Bytes damaged = der;
            auto& byte = damaged[static_cast<std::size_t>(found - der.begin() + offset)];
            byte = static_cast<std::uint8_t>(byte ^ change);
            const auto values = X509Values::parse(damaged);
            const unsigned char* position = damaged.data();
            const std::unique_ptr<X509, decltype(&X509_free)> reference(
                d2i_X509(nullptr, &position, static_cast<long>(damaged.size())), X509_free);
            const EVP_PKEY* key = reference ? X509_get0_pubkey(reference.get()) : nullptr;
            if (values && key != nullptr && EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA) {
                ++accepted;
                EXPECT_TRUE(values->publicKey().isRsa);
                EXPECT_EQ(static_cast<int>(values->publicKey().bits), EVP_PKEY_get_bits(key));
            }
        }
    }
    EXPECT_GT(accepted, 0U);
    ERR_clear_error();
}

TEST(X509Values, AnythingButOneCertificateIsNothing) {
    EXPECT_FALSE(X509Values::parse({}));
    EXPECT_FALSE(X509Values::parse(bytesOf("no certificate")));
    CertificateBuilder builder;
    builder.key = smallKey();
    Bytes der = builder.build();
    der.push_back(0);
    EXPECT_FALSE(X509Values::parse(der));
}

TEST(X509Values, CutCertificateIsNothing) {
    CertificateBuilder builder;
    builder.key = smallKey();
    const Bytes der = builder.build();
    for (std::size_t length = 0; length < der.size(); ++length) {
        EXPECT_FALSE(X509Values::parse(BytesView(der).first(length))) << length;
    }
}

TEST(X509Values, DamagedCertificateGivesWellFormedTextsOrNothing) {
    CertificateBuilder builder;
    builder.key = smallKey();
    builder.subject = {{"C", "NL"}, {"CN", std::string("\0J\0\xFC", 4), V_ASN1_BMPSTRING},
        {"O", "Org", V_ASN1_T61STRING, true}};
    const Bytes der = builder.build();
    std::size_t read = 0;
    for (std::size_t place = 0; place < der.size(); ++place) {
        for (const int change : {0x01, 0x02, 0x04, 0x10, 0x20, 0x80, 0xFF}) {
            Bytes damaged = der;
            damaged[place] = static_cast<std::uint8_t>(damaged[place] ^ change);
            const auto values = X509Values::parse(damaged);
            if (values) {
                ++read;
                values->publicKey();
                EXPECT_FALSE(values->serialNumber().empty());
                EXPECT_TRUE(isUtf8(PropertyValue(values->values()).description()));
            }
        }
    }
    EXPECT_GT(read, 0U);
}
