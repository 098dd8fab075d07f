// SPDX-License-Identifier: MIT
#include "devserver/documents/CmsSignature.h"

#include "tests/documents/TestSigner.h"
#include "tests/documents/Verifiers.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace {

using devserver::CmsSignature;
using testing::HasSubstr;
using testing::Not;

std::string cmsOf(const TestSigner& signer, std::string_view data) {
    std::string error;
    auto cms = CmsSignature::begin(signer.certificateDer(), devserver::sha256({data}), error);
    if (!cms) {
        ADD_FAILURE() << error;
        return "";
    }
    return cms->complete(signer.sign(cms->signedAttributes()), error).value_or(error);
}

TEST(CmsSignatureTest, DigestIsThatOfThePartsTogether) {
    EXPECT_EQ(devserver::sha256({"ab", "", "c"}), devserver::sha256({"abc"}));
    EXPECT_EQ(devserver::sha256({"abc"}).substr(0, 4), "\xBA\x78\x16\xBF"); // FIPS 180-2, B.1
}

TEST(CmsSignatureTest, HoldsTheAttributesOfTheBaseline) {
    const TemporaryFolder folder;
    writeFile(folder / "cms", cmsOf(TestSigner(), "data"));
    const std::string text
        = run("openssl cms -cmsout -print -noout -inform DER -in " + (folder / "cms").string())
              .output;
    EXPECT_THAT(text, HasSubstr("contentType (1.2.840.113549.1.9.3)"));
    EXPECT_THAT(text, HasSubstr("messageDigest (1.2.840.113549.1.9.4)"));
    EXPECT_THAT(text, HasSubstr("id-smime-aa-signingCertificateV2 (1.2.840.113549.1.9.16.2.47)"));
    EXPECT_THAT(text, HasSubstr("eContent: <ABSENT>"));
    EXPECT_THAT(text, Not(HasSubstr("signingTime")));
    EXPECT_THAT(text, Not(HasSubstr("S/MIME Capabilities")));
}

TEST(CmsSignatureTest, IsVerifiedByOpenssl) {
    // The order of the attributes in DER depends on their lengths, and so on the names.
    for (const std::string& name : {std::string("x"), std::string(60, 'x')}) {
        const TemporaryFolder folder;
        const TestSigner signer(name);
        writeFile(folder / "cms", cmsOf(signer, "data"));
        writeFile(folder / "data", "data");
        writeFile(folder / "other", "Data");
        writeFile(folder / "ca.pem", signer.certificatePem());
        const std::string in = folder.path().string();
        const std::string command = "openssl cms -verify -cades -binary -inform DER -in " + in
            + "/cms -CAfile " + in + "/ca.pem -purpose any -out /dev/null -content " + in;
        const Outcome right = run(command + "/data");
        EXPECT_EQ(right.status, 0) << right.output;
        EXPECT_NE(run(command + "/other").status, 0);
    }
}

TEST(CmsSignatureTest, CertificatesThatCannotSignAreRefused) {
    std::string error;
    EXPECT_FALSE(CmsSignature::begin("no certificate", devserver::sha256({""}), error));
    EXPECT_EQ(error, "the agent's certificate is not a certificate");
    const std::string trailed = TestSigner().certificateDer() + "x";
    EXPECT_FALSE(CmsSignature::begin(trailed, devserver::sha256({""}), error));
    const TestSigner elliptic("EC", TestSigner::Kind::elliptic);
    EXPECT_FALSE(CmsSignature::begin(elliptic.certificateDer(), devserver::sha256({""}), error));
    EXPECT_EQ(error, "the certificate's key is not an RSA key");
}

TEST(CmsSignatureTest, OnlyTheRightSignatureIsOne) {
    const TestSigner signer;
    const std::string signature = signer.sign("data");
    EXPECT_TRUE(devserver::isSignedBy(signer.certificateDer(), signature, "data"));
    EXPECT_FALSE(devserver::isSignedBy(signer.certificateDer(), signature, "Data"));
    EXPECT_FALSE(devserver::isSignedBy(signer.certificateDer(), signature.substr(1), "data"));
    EXPECT_FALSE(devserver::isSignedBy(signer.certificateDer(), "", "data"));
    EXPECT_FALSE(devserver::isSignedBy("", signature, "data"));
    EXPECT_FALSE(devserver::isSignedBy(TestSigner().certificateDer(), signature, "data"));
}

} // namespace
