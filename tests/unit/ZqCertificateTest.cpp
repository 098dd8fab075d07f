// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqCertificate.h"

#include "foundation/JsonWriter.h"
#include "tests/support/ScriptedKeychain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

std::string jsonOf(const ZqCertificate& certificate) {
    return writeJson(certificate.getDictionary()).text.value();
}

ZqCertificate fullRecord() {
    ZqCertificate certificate;
    certificate.alias = "an alias";
    certificate.name = "a name";
    certificate.certificateDigest = "a digest";
    certificate.issuerDn = "an issuer";
    certificate.subjectDn = "a subject";
    certificate.serialHex = "a serial";
    certificate.certificate = "raw";
    return certificate;
}

TEST(ZqCertificateTest, EveryFieldStartsAbsent) {
    const ZqCertificate certificate;
    EXPECT_FALSE(certificate.alias);
    EXPECT_FALSE(certificate.name);
    EXPECT_FALSE(certificate.certificateDigest);
    EXPECT_FALSE(certificate.validFrom);
    EXPECT_FALSE(certificate.validTo);
    EXPECT_FALSE(certificate.issuerDn);
    EXPECT_FALSE(certificate.subjectDn);
    EXPECT_FALSE(certificate.serialHex);
    EXPECT_FALSE(certificate.certificate);
    EXPECT_FALSE(certificate.certificateRef);
    EXPECT_FALSE(certificate.privateKeyRef);
}

TEST(ZqCertificateTest, AFreshRecordYieldsNineNulls) {
    EXPECT_EQ(jsonOf(ZqCertificate()),
        R"({"alias":null,"name":null,"certificateDigest":null,"validFrom":null,"validTo":null,)"
        R"("issuerDn":null,"subjectDn":null,"serialHex":null,"certificate":null})");
}

TEST(ZqCertificateTest, EachTextStandsUnderItsKeyInOrder) {
    EXPECT_EQ(jsonOf(fullRecord()),
        R"({"alias":"an alias","name":"a name","certificateDigest":"a digest","validFrom":null,)"
        R"("validTo":null,"issuerDn":"an issuer","subjectDn":"a subject","serialHex":"a serial",)"
        R"("certificate":"raw"})");
}

TEST(ZqCertificateTest, WithoutRawValuesOnlyTheCertificateIsNull) {
    ZqCertificate certificate = fullRecord();
    certificate.certificate.reset();
    EXPECT_EQ(jsonOf(certificate),
        R"({"alias":"an alias","name":"a name","certificateDigest":"a digest","validFrom":null,)"
        R"("validTo":null,"issuerDn":"an issuer","subjectDn":"a subject","serialHex":"a serial",)"
        R"("certificate":null})");
}

TEST(ZqCertificateTest, EmptyTextsStayEmptyTexts) {
    ZqCertificate certificate;
    certificate.alias = certificate.name = certificate.certificateDigest = "";
    certificate.issuerDn = certificate.subjectDn = certificate.serialHex = "";
    certificate.certificate = "";
    EXPECT_EQ(jsonOf(certificate),
        R"({"alias":"","name":"","certificateDigest":"","validFrom":null,"validTo":null,)"
        R"("issuerDn":"","subjectDn":"","serialHex":"","certificate":""})");
}

TEST(ZqCertificateTest, ReferencesNeverLeakIntoTheDictionary) {
    ZqCertificate certificate = fullRecord();
    const std::string without = jsonOf(certificate);
    certificate.certificateRef
        = std::make_shared<NamedObject<platform::SecCertificate>>("certificate reference");
    certificate.privateKeyRef = std::make_shared<NamedObject<platform::SecKey>>("key reference");
    EXPECT_EQ(jsonOf(certificate), without);
}

TEST(ZqCertificateTest, DatesAreWrittenInUtc) {
    ZqCertificate certificate;
    certificate.validFrom = ZqCertificate::Date(std::chrono::seconds(951782400));
    certificate.validTo = ZqCertificate::Date(std::chrono::seconds(2147483647));
    EXPECT_THAT(jsonOf(certificate),
        testing::HasSubstr(
            R"("validFrom":"2000-02-29T00:00:00Z","validTo":"2038-01-19T03:14:07Z")"));
}

TEST(ZqCertificateTest, ReleasingTheRecordReleasesItsReferences) {
    std::weak_ptr<const platform::SecCertificate> certificate;
    std::weak_ptr<const platform::SecKey> key;
    {
        ZqCertificate record;
        record.certificateRef = std::make_shared<NamedObject<platform::SecCertificate>>("c");
        record.privateKeyRef = std::make_shared<NamedObject<platform::SecKey>>("k");
        certificate = record.certificateRef;
        key = record.privateKeyRef;
        EXPECT_FALSE(certificate.expired());
        EXPECT_FALSE(key.expired());
    }
    EXPECT_TRUE(certificate.expired());
    EXPECT_TRUE(key.expired());
}

} // namespace
