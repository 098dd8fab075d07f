// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlSignature.h"

#include "tests/documents/TestSigner.h"
#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>

namespace {

using devserver::XmlSignature;
using testing::HasSubstr;
using testing::StartsWith;

const TestSigner& signer() {
    static const TestSigner instance("M\xC3\xBCller & S\xC3\xB6hne");
    return instance;
}

std::string signedXml(std::string_view xml) {
    std::string error;
    std::optional<XmlSignature> signature = XmlSignature::begin(xml, error);
    if (!signature) {
        ADD_FAILURE() << error;
        return "";
    }
    const std::optional<std::string> result = signature->complete(
        signer().sign(signature->signedInfo()), signer().certificateDer(), error);
    EXPECT_TRUE(result) << error;
    return result.value_or("");
}

void signAndVerify(std::string_view xml) {
    const std::string result = signedXml(xml);
    const Outcome outcome = xmlsec1(result, signer());
    EXPECT_EQ(outcome.status, 0) << outcome.output << result;
    EXPECT_THAT(outcome.output, StartsWith("OK\n"));
}

std::string refusalOf(std::string_view xml) {
    std::string error;
    return XmlSignature::begin(xml, error) ? "(none)" : error;
}

TEST(XmlSignatureTest, SignedDocumentsAreVerifiedByXmlsec) {
    signAndVerify("<a/>");
    signAndVerify(
        "<?xml version=\"1.0\"?>\n<!-- before -->\n<a>\n  <b c='d'/>\n</a>\n<!-- after -->");
    signAndVerify("<a xmlns='urn:x' xmlns:y='urn:y' y:z='1' xml:lang='de'><y:b>\xC3\xA4</y:b></a>");
    signAndVerify("<a b='&#10;&#13;&#9;&lt;&quot;'>&#13;&amp;]]&gt;<![CDATA[<&>]]></a>");
    signAndVerify("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>");
    signAndVerify("<a xmlns:ds='urn:not-the-usual'><ds:b/></a>");
    signAndVerify("<a><?target data?><!-- within --></a>");
    signAndVerify("<a>" + std::string(5 << 20, 'x') + "</a>");
}

TEST(XmlSignatureTest, SignedInfoIsCanonical) {
    std::string error;
    const auto signature = XmlSignature::begin("<a><b/></a>", error);
    ASSERT_TRUE(signature) << error;
    EXPECT_THAT(signature->signedInfo(),
        StartsWith("<ds:SignedInfo xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">"));
    EXPECT_THAT(signature->signedInfo(),
        HasSubstr("<ds:CanonicalizationMethod "
                  "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\">"
                  "</ds:CanonicalizationMethod>"));
    EXPECT_THAT(signature->signedInfo(), HasSubstr("xmldsig-more#rsa-sha256\""));
    EXPECT_TRUE(signature->signedInfo().ends_with("</ds:SignedInfo>"));
}

TEST(XmlSignatureTest, ChangeIsNoticed) {
    std::string result = signedXml("<a><b>100</b></a>");
    result.replace(result.find("100"), 3, "900");
    EXPECT_NE(xmlsec1(result, signer()).status, 0);
}

TEST(XmlSignatureTest, SignatureOfAnotherKeyIsNotTaken) {
    std::string error;
    auto signature = XmlSignature::begin("<a/>", error);
    ASSERT_TRUE(signature) << error;
    EXPECT_FALSE(signature->complete(
        TestSigner().sign(signature->signedInfo()), signer().certificateDer(), error));
    EXPECT_EQ(error,
        "the signature that came back is not one of the signed-info sent, by the "
        "certificate's key");
}

TEST(XmlSignatureTest, WhatIsNoXmlIsRefused) {
    EXPECT_THAT(refusalOf(""), StartsWith("this is not an XML document"));
    EXPECT_THAT(refusalOf("%PDF-1.7"), StartsWith("this is not an XML document: line 1: "));
    EXPECT_THAT(refusalOf("<a>\n</b>"), StartsWith("this is not an XML document: line 2: "));
    EXPECT_THAT(refusalOf("<a>\xFF</a>"), StartsWith("this is not an XML document: line 1: "));
    EXPECT_THAT(refusalOf(std::string(2000, '<')), StartsWith("this is not an XML document"));
}

TEST(XmlSignatureTest, DocumentTypesAreRefused) {
    const char* const reason
        = "the XML document has a document type; what it means may change where it is read";
    EXPECT_EQ(refusalOf("<!DOCTYPE a><a/>"), reason);
    EXPECT_EQ(
        refusalOf("<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>"), reason);
}

TEST(XmlSignatureTest, SignedDocumentIsNotSignedAgain) {
    EXPECT_EQ(refusalOf(signedXml("<a/>")),
        "the XML document is signed already; another signature would break the first");
}

TEST(XmlSignatureTest, NamespaceThatCannotBeCanonicalisedIsRefused) {
    EXPECT_EQ(refusalOf("<a xmlns='relative'/>"), "the XML document cannot be canonicalised");
}

} // namespace
