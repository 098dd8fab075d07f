// SPDX-License-Identifier: MIT
// What counts as a document's signature: signed attributes of CMS, or a SignedInfo of
// XML-Signature.
#include "ZqMacClient/ZqSignedAttributes.h"
#include "ZqMacClient/ZqSignedInfo.h"

#include "foundation/Base64.h"
#include "tests/support/SigningContent.h"

#include <gtest/gtest.h>

namespace {

bool accepts(const std::string& bytes) {
    return isSignedAttributes(bytesOf(bytes));
}

/// An OCTET STRING of so many bytes.
std::string digestOfSize(std::size_t size) {
    return der(0x04, std::string(size, 'd'));
}

TEST(SignedAttributesTest, ContentTypeAndDigestAreEnough) {
    EXPECT_TRUE(accepts(signedAttributes()));
}

TEST(SignedAttributesTest, AttributesOfCadesAreAllowed) {
    EXPECT_TRUE(accepts(setOf({contentTypeAttribute(), messageDigestAttribute(),
        attribute(oid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x05"), der(0x17, "261121120000Z")),
        attribute(oid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x2F"),
            der(0x30, der(0x30, der(0x30, digestOfSize(32)))))})));
}

TEST(SignedAttributesTest, OtherAttributesAreNot) {
    EXPECT_FALSE(accepts(setOf({contentTypeAttribute(), messageDigestAttribute(),
        attribute(oid("\x2A\x03"), der(0x0C, "login token"))})));
}

TEST(SignedAttributesTest, BothAttributesAreRequiredAndNeitherTwice) {
    EXPECT_FALSE(accepts(setOf({contentTypeAttribute()})));
    EXPECT_FALSE(accepts(setOf({messageDigestAttribute()})));
    EXPECT_FALSE(accepts(setOf({})));
    EXPECT_FALSE(accepts(
        setOf({contentTypeAttribute(), messageDigestAttribute(), messageDigestAttribute('e')})));
    EXPECT_FALSE(
        accepts(setOf({contentTypeAttribute(), contentTypeAttribute(), messageDigestAttribute()})));
}

TEST(SignedAttributesTest, TheContentMustBeDataAndTheDigest32Bytes) {
    const std::string signedData = oid("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02");
    EXPECT_FALSE(
        accepts(setOf({attribute(contentTypeOid(), signedData), messageDigestAttribute()})));
    for (const unsigned size : {0U, 20U, 31U, 33U, 48U, 64U}) {
        EXPECT_FALSE(accepts(
            setOf({contentTypeAttribute(), attribute(messageDigestOid(), digestOfSize(size))})));
    }
    EXPECT_FALSE(accepts(setOf({contentTypeAttribute(),
        attribute(messageDigestOid(), digestOfSize(32) + digestOfSize(32))})));
    EXPECT_FALSE(accepts(setOf(
        {contentTypeAttribute(), attribute(messageDigestOid(), der(0x03, std::string(32, 'd')))})));
    EXPECT_FALSE(accepts(setOf({contentTypeAttribute(), attribute(messageDigestOid(), "")})));
}

TEST(SignedAttributesTest, TheyAreTheWholeOfTheBytes) {
    const std::string whole = signedAttributes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(accepts(whole.substr(0, size))) << size;
    }
    EXPECT_FALSE(accepts(whole + '\0'));
    EXPECT_FALSE(accepts(whole + whole));
    EXPECT_FALSE(accepts("\xA0" + whole.substr(1))); // as they stand within a signature
    EXPECT_FALSE(accepts("\x30" + whole.substr(1)));
}

TEST(SignedAttributesTest, OnlyDerIsTaken) {
    const std::string content = contentTypeAttribute() + messageDigestAttribute();
    EXPECT_TRUE(accepts(der(0x31, content)));
    EXPECT_FALSE(accepts(der(0x31, messageDigestAttribute() + contentTypeAttribute()))); // order
    const auto size = static_cast<char>(content.size());
    EXPECT_FALSE(accepts(std::string("\x31\x81") + size + content)); // a length too long
    EXPECT_FALSE(accepts(std::string("\x31\x82\0", 3) + size + content));
    EXPECT_FALSE(accepts("\x31\x80" + content + std::string(2, '\0'))); // an indefinite one
    EXPECT_FALSE(accepts(std::string("\x31\x84\xFF\xFF\xFF\xFF", 6) + content));
    EXPECT_FALSE(accepts(std::string("\x31\x85\0\0\0\0", 6) + size + content));
}

TEST(SignedAttributesTest, ValuesAreWellFormedToTheBottom) {
    const std::string type = oid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x0F");
    const auto acceptsValue = [&](const std::string& value) {
        return accepts(
            setOf({contentTypeAttribute(), messageDigestAttribute(), attribute(type, value)}));
    };
    EXPECT_TRUE(acceptsValue(der(0x30, der(0x02, "\x05") + der(0x05, "") + der(0x01, "\xFF"))));
    EXPECT_TRUE(acceptsValue(der(0x30, der(0xA0, der(0x02, std::string("\x00\x80", 2))))));
    for (const std::string& value : {der(0x30, "\x02\x05"), der(0x30, der(0x02, "")),
             der(0x30, der(0x02, std::string(2, '\0'))), der(0x05, "x"), der(0x01, "\x01"),
             der(0x24, der(0x04, "x")), der(0x10, ""), der(0x06, ""), der(0x06, "\x2A\x86"),
             der(0x00, ""), std::string("\x1F\x01\x00", 3)}) {
        EXPECT_FALSE(acceptsValue(value));
    }
    std::string deep = der(0x05, "");
    for (int i = 0; i < 100; ++i) {
        deep = der(0x30, deep);
    }
    EXPECT_FALSE(acceptsValue(deep));
}

TEST(SignedAttributesTest, WhatOtherProtocolsSignIsNone) {
    const std::string transcript = std::string(64, ' ') + "TLS 1.3, client CertificateVerify"
        + std::string(1, '\0') + std::string(32, 'h');
    const std::string token = "eyJhbGciOiJSUzI1NiJ9.eyJzdWIiOiJhbGljZSJ9";
    const std::string certificateRequest
        = der(0x30, der(0x02, std::string(1, '\0')) + der(0x30, ""));
    for (const std::string& bytes : {transcript, token, certificateRequest, std::string(32, 'd')}) {
        EXPECT_FALSE(accepts(bytes));
        EXPECT_FALSE(isSignedInfo(bytes));
    }
}

// XML

TEST(SignedInfoTest, ACanonicalElementIsTaken) {
    EXPECT_TRUE(isSignedInfo(signedInfo()));
    EXPECT_TRUE(isSignedInfo(signedInfo("")));
    EXPECT_TRUE(isSignedInfo(signedInfo("ds:", 2)));
}

std::string changed(const std::string& from, const std::string& to) {
    std::string text = signedInfo();
    const std::size_t found = text.find(from);
    EXPECT_NE(found, std::string::npos) << from;
    return text.replace(found, from.size(), to);
}

TEST(SignedInfoTest, NothingStandsBesideTheElement) {
    const std::string text = signedInfo();
    for (const std::string& other : {" " + text, text + "\n", text + text,
             "<?xml version=\"1.0\"?>" + text, "<!DOCTYPE x>" + text, text + "<!-- -->",
             "\xEF\xBB\xBF" + text, "<a>" + text + "</a>"}) {
        EXPECT_FALSE(isSignedInfo(other)) << other;
    }
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_FALSE(isSignedInfo(text.substr(0, size))) << size;
    }
}

TEST(SignedInfoTest, TheNamespaceIsThatOfXmlSignature) {
    EXPECT_FALSE(isSignedInfo(changed("http://www.w3.org/2000/09/xmldsig#", "urn:other")));
    EXPECT_FALSE(isSignedInfo(changed("xmlns:ds=", "xmlns:dx=")));
    EXPECT_FALSE(isSignedInfo(changed("xmlns:ds=", "xmlns=")));
    EXPECT_FALSE(isSignedInfo(changed("<ds:Reference ", "<Reference ")));
    EXPECT_FALSE(isSignedInfo(changed("<ds:SignedInfo ", "<ds:Other ")));
}

TEST(SignedInfoTest, MethodsAndReferencesAreRequired) {
    const std::string method = "<ds:SignatureMethod Algorithm=\"urn:m\"></ds:SignatureMethod>";
    EXPECT_FALSE(isSignedInfo(changed(method, "")));
    EXPECT_FALSE(isSignedInfo(changed(method, method + method)));
    EXPECT_FALSE(isSignedInfo(changed(" Algorithm=\"urn:c\"", "")));
    EXPECT_FALSE(isSignedInfo(signedInfo("ds:", 0)));
    EXPECT_FALSE(isSignedInfo(changed("<ds:DigestValue>" + digestText + "</ds:DigestValue>", "")));
    EXPECT_FALSE(isSignedInfo(changed(digestText, "")));
    EXPECT_FALSE(isSignedInfo(changed(method, method + "pay me")));
    EXPECT_FALSE(isSignedInfo(changed(method, method + "<ds:Object></ds:Object>")));
}

TEST(SignedInfoTest, DigestsAreBase64AndOfTheirLengths) {
    for (const std::size_t size : {20U, 32U, 48U, 64U}) {
        EXPECT_TRUE(isSignedInfo(changed(digestText, base64Encoded(Bytes(size, 'd')))));
    }
    const std::string lines = base64Encoded(Bytes(64, 'd')).insert(76, "\n");
    EXPECT_TRUE(isSignedInfo(changed(digestText, lines)));
    for (const std::string& other : {base64Encoded(Bytes(19, 'd')), base64Encoded(Bytes(65, 'd')),
             std::string("I herewith log in to the bank"), std::string(" ")}) {
        EXPECT_FALSE(isSignedInfo(changed(digestText, other))) << other;
    }
}

TEST(SignedInfoTest, ParametersOfMethodsAreElements) {
    const std::string method = "<ds:CanonicalizationMethod Algorithm=\"urn:c\">";
    EXPECT_TRUE(isSignedInfo(changed(method, method + "\n<x></x>\n")));
    EXPECT_FALSE(isSignedInfo(changed(method, method + "pay me")));
    EXPECT_FALSE(isSignedInfo(changed(method, method + "pay me<x></x>")));
}

TEST(SignedInfoTest, AttributesOfAnElementAreFew) {
    const auto withAttributes = [](int count) {
        std::string attributes;
        for (int i = 0; i < count; ++i) {
            attributes += " a" + std::to_string(i) + "=\"\"";
        }
        return changed(" Algorithm=\"urn:d\"", " Algorithm=\"urn:d\"" + attributes);
    };
    EXPECT_TRUE(isSignedInfo(withAttributes(63)));
    EXPECT_FALSE(isSignedInfo(withAttributes(64)));
}

TEST(SignedInfoTest, OnlyCanonicalFormIsTaken) {
    const std::string digest = "<ds:DigestMethod Algorithm=\"urn:d\"></ds:DigestMethod>";
    for (const std::string& other : {std::string("<ds:DigestMethod Algorithm=\"urn:d\"/>"),
             std::string("<ds:DigestMethod Algorithm='urn:d'></ds:DigestMethod>"),
             std::string("<ds:DigestMethod  Algorithm=\"urn:d\"></ds:DigestMethod>"),
             std::string("<ds:DigestMethod Algorithm=\"urn:d\" ></ds:DigestMethod>"),
             std::string("<ds:DigestMethod Algorithm=\"a<b\"></ds:DigestMethod>"),
             std::string("<ds:DigestMethod Algorithm=\"&x;\"></ds:DigestMethod>"),
             std::string("<ds:DigestMethod Algorithm=\"a\" Algorithm=\"b\"></ds:DigestMethod>"),
             std::string("<ds:DigestMethod Algorithm=\"urn:d\"></ds:Other>"), "<!-- -->" + digest,
             digest + "<![CDATA[x]]>", digest + "\r", digest + "\x01", digest + "\xFF"}) {
        EXPECT_FALSE(isSignedInfo(changed(digest, other))) << other;
    }
    EXPECT_TRUE(isSignedInfo(changed("urn:d", "a&amp;b&#xA;")));
    EXPECT_TRUE(isSignedInfo(changed(digest, "\n  " + digest + "\n")));
}

TEST(SignedInfoTest, DeepAndLongTextsEnd) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "<a>";
    }
    EXPECT_FALSE(isSignedInfo(deep));
    EXPECT_FALSE(isSignedInfo(changed(digestText, std::string(std::size_t{1} << 20, 'A'))));
}

} // namespace
