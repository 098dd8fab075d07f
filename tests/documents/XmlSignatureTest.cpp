// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlSignature.h"

#include "tests/documents/TestSigner.h"
#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>

namespace {

using devserver::XmlOptions;
using devserver::XmlSignature;
using testing::HasSubstr;
using testing::StartsWith;

const TestSigner& signer() {
    static const TestSigner instance("M\xC3\xBCller & S\xC3\xB6hne");
    return instance;
}

std::string signedXml(std::string_view xml, const XmlOptions& options = {}) {
    std::string error;
    std::optional<XmlSignature> signature = XmlSignature::begin(std::string(xml), options, error);
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

std::string refusalOf(std::string_view xml, const XmlOptions& options = {}) {
    std::string error;
    return XmlSignature::begin(std::string(xml), options, error) ? "(none)" : error;
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
    const auto signature = XmlSignature::begin("<a><b/></a>", {}, error);
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
    auto signature = XmlSignature::begin("<a/>", {}, error);
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
        "the XML document is signed already, and that signature covers the place of the new one, "
        "which would break it");
}

TEST(XmlSignatureTest, SignatureOfAPartStaysValid) {
    // An assertion signed by its identifier, in a response that is signed as a whole.
    XmlOptions options;
    options.idAttribute = "ID";
    std::string assertion = signedXml("<s:A xmlns:s='urn:s' ID='a1'><s:I>me</s:I></s:A>", options);
    EXPECT_THAT(assertion, HasSubstr("<ds:Reference URI=\"#a1\">"));
    const std::string response = "<s:R xmlns:s='urn:s'>" + assertion + "</s:R>";
    const std::string whole = signedXml(response);
    EXPECT_THAT(whole, HasSubstr(assertion));
    // Now both are in the way of a third, at the first one's place.
    EXPECT_THAT(refusalOf(whole), HasSubstr("is signed already"));
}

TEST(XmlSignatureTest, SignatureThatIsNotValidIsNotSignedOver) {
    std::string broken = signedXml("<a>100</a>");
    broken.replace(broken.find("100"), 3, "900");
    const char* const reason = "the XML document holds a signature that is not valid, or cannot be "
                               "checked; whether it stays valid cannot be told";
    EXPECT_EQ(refusalOf("<r>" + broken + "</r>"), reason);
    EXPECT_EQ(refusalOf("<r><Signature xmlns='http://www.w3.org/2000/09/xmldsig#'/></r>"), reason);
}

TEST(XmlSignatureTest, SignatureIsPutWhereItIsWanted) {
    XmlOptions first;
    first.isFirst = true;
    EXPECT_THAT(signedXml("<a b='1'> <c/> </a>", first), StartsWith("<a b='1'><ds:Signature"));
    XmlOptions after;
    after.after = "Issuer";
    EXPECT_THAT(signedXml("<a><s:Issuer xmlns:s='urn:s'>x</s:Issuer><c/></a>", after),
        StartsWith("<a><s:Issuer xmlns:s='urn:s'>x</s:Issuer><ds:Signature"));
    EXPECT_THAT(signedXml("<a><Issuer/><c/></a>", after), StartsWith("<a><Issuer/><ds:Signature"));
    EXPECT_EQ(refusalOf("<a><c/></a>", after), "the root of the XML document has no child Issuer");
    EXPECT_EQ(refusalOf("<a/>", after), "the root of the XML document has no child Issuer");
}

TEST(XmlSignatureTest, RootIsNamedByItsIdentifier) {
    XmlOptions options;
    options.idAttribute = "ID";
    EXPECT_EQ(
        xmlsec1(signedXml("<?p before?><a ID='x'/><?p after?>", options), signer(), "ID a").status,
        0);
    EXPECT_EQ(refusalOf("<a id='x'/>", options),
        "the root of the XML document has no attribute ID with a name in it");
    EXPECT_EQ(refusalOf("<a ID='1 x'/>", options),
        "the root of the XML document has no attribute ID with a name in it");
}

TEST(XmlSignatureTest, TextAroundTheSignatureStaysAsItIs) {
    for (const std::string xml :
        {"<?xml version='1.0' encoding='ISO-8859-1'?>\r\n<a  b = 'x'\r\n>\xE4</a >\n<!-- c -->\n",
            "\xEF\xBB\xBF<a><![CDATA[x]]></a>", "<a\n/>", "<a b='/'/>"}) {
        const std::string result = signedXml(xml);
        const std::size_t start = result.find("<ds:Signature ");
        const std::string_view endTag = "</ds:Signature>";
        const std::size_t end = result.find(endTag) + endTag.size();
        std::string rest = result.substr(0, start) + result.substr(end);
        if (xml.find("/>") != std::string::npos) {
            rest.replace(rest.rfind("></a>"), 5, "/>");
        }
        EXPECT_EQ(rest, xml);
    }
}

TEST(XmlSignatureTest, EncodingsOfTheDocumentAreKept) {
    const std::string text = "<?xml version='1.0' encoding='UTF-16'?><a><b/>x</a>";
    for (const bool isEmpty : {false, true}) {
        for (const bool isBig : {false, true}) {
            std::string xml = isBig ? "\xFE\xFF" : "\xFF\xFE";
            for (const char c : isEmpty ? std::string("<a/>") : text) {
                xml += isBig ? std::string{'\0', c} : std::string{c, '\0'};
            }
            signAndVerify(xml);
        }
    }
    signAndVerify("<?xml version='1.0' encoding='windows-1252'?><a>\x80</a>");
    for (const char* kind : {"UTF-7", "IBM037", "Shift_JIS", "EUC-JP", "Big5", "GB18030"}) {
        EXPECT_EQ(refusalOf("<?xml version='1.0' encoding='" + std::string(kind) + "'?><a/>"),
            "the XML document's encoding is not supported; UTF-8 is");
    }
    EXPECT_EQ(refusalOf("<?xml version='1.0' encoding='no-such'?><a/>"),
        "the XML document's encoding is not supported; UTF-8 is");
}

TEST(XmlSignatureTest, NamespacesThatHaveNoCanonicalFormAreNamed) {
    EXPECT_EQ(refusalOf("<a xmlns='relative'/>"),
        "the XML document has a namespace of the name \"relative\", which is no absolute URI; so "
        "it "
        "has no canonical form");
    EXPECT_THAT(refusalOf("<a xmlns:b='../up'/>"), HasSubstr("\"../up\""));
    EXPECT_EQ(refusalOf("<a>\n<b:c/></a>"),
        "the XML document uses a prefix that is bound to no namespace, in line 2");
}

TEST(XmlSignatureTest, LimitsOfCommonParsersAreToldInWords) {
    const auto nested = [](int depth) {
        std::string xml;
        for (int i = 0; i < depth; ++i) {
            xml += "<a>";
        }
        for (int i = 0; i < depth; ++i) {
            xml += "</a>";
        }
        return xml;
    };
    signAndVerify(nested(256));
    EXPECT_THAT(refusalOf(nested(257)), HasSubstr("nested deeper than 256 elements"));
    EXPECT_THAT(refusalOf("<a>" + std::string(10000001, 'x') + "</a>"),
        HasSubstr("a text of more than 10,000,000 bytes"));
    EXPECT_THAT(refusalOf("<a b='" + std::string(10000001, 'x') + "'/>"),
        HasSubstr("a text of more than 10,000,000 bytes"));
}

TEST(XmlSignatureTest, NothingIsWrittenOnStandardError) {
    testing::internal::CaptureStderr();
    refusalOf("<a xmlns='relative'><b:c/></a>");
    refusalOf("<r><Signature xmlns='http://www.w3.org/2000/09/xmldsig#'><x/></Signature></r>");
    signedXml("<a/>");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
