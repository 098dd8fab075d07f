// SPDX-License-Identifier: MIT
#include "platform/linux/security/X509Text.h"
#include "X509Fixture.h"
#include "foundation/Utf8.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

using namespace platform;

namespace {

std::string commonNameFrom(int stringType, const std::string& bytes) {
    return commonNameOf(valuesOfSubject({{"CN", bytes, stringType}}));
}

/// For values that OpenSSL refuses to write: put in place of harmless ones.
std::string commonNameFromBroken(int stringType, const std::string& bytes) {
    CertificateBuilder builder;
    builder.key = smallKey();
    builder.subject = {{"CN", std::string(bytes.size(), 'Q')}};
    Bytes der = builder.build();
    const auto encoded = [](int type, const std::string& text) {
        Bytes element = {static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(text.size())};
        element.insert(element.end(), text.begin(), text.end());
        return element;
    };
    const Bytes harmless = encoded(V_ASN1_UTF8STRING, builder.subject[0].bytes);
    const Bytes broken = encoded(stringType, bytes);
    const auto place = std::search(der.begin(), der.end(), harmless.begin(), harmless.end());
    EXPECT_NE(place, der.end());
    std::copy(broken.begin(), broken.end(), place);
    return commonNameOf(X509Values::parse(der).value());
}

} // namespace

TEST(X509Text, Utf8StringIsKept) {
    EXPECT_EQ(commonNameFrom(V_ASN1_UTF8STRING, "J\xC3\xBCrgen \xF0\x9F\x96\x8B"),
        "J\xC3\xBCrgen \xF0\x9F\x96\x8B");
}

TEST(X509Text, IllFormedUtf8BecomesReplacementCharacters) {
    EXPECT_EQ(
        commonNameFromBroken(V_ASN1_UTF8STRING, "a\xFF!b\xC3"), "a\xEF\xBF\xBD!b\xEF\xBF\xBD");
}

TEST(X509Text, PrintableIa5AndNumericStringsAreKept) {
    EXPECT_EQ(commonNameFrom(V_ASN1_PRINTABLESTRING, "Plain (text)"), "Plain (text)");
    EXPECT_EQ(commonNameFrom(V_ASN1_IA5STRING, "signer@example.org"), "signer@example.org");
    EXPECT_EQ(commonNameFrom(V_ASN1_NUMERICSTRING, "12 34"), "12 34");
    EXPECT_EQ(commonNameFrom(V_ASN1_PRINTABLESTRING, "a\xE9z"), "a\xEF\xBF\xBDz");
}

TEST(X509Text, T61StringIsReadAsLatin1) {
    EXPECT_EQ(commonNameFrom(V_ASN1_T61STRING, "J\xFCrgen"), "J\xC3\xBCrgen");
}

TEST(X509Text, BmpStringIsReadAsUtf16) {
    EXPECT_EQ(commonNameFrom(V_ASN1_BMPSTRING, std::string("\0J\0\xFC\x20\xAC", 6)),
        "J\xC3\xBC\xE2\x82\xAC");
    EXPECT_EQ(commonNameFromBroken(V_ASN1_BMPSTRING, std::string("\xD8\x3D\xDD\x8B\0!", 6)),
        "\xF0\x9F\x96\x8B!");
}

TEST(X509Text, WhatIsNoCharacterInABmpStringIsReplaced) {
    const std::string replaced = "\xEF\xBF\xBD!";
    EXPECT_EQ(commonNameFromBroken(V_ASN1_BMPSTRING, std::string("\xD8\x3D\0!", 4)), replaced);
    EXPECT_EQ(commonNameFromBroken(V_ASN1_BMPSTRING, std::string("\xDD\x8B\0!", 4)), replaced);
    EXPECT_EQ(commonNameFromBroken(V_ASN1_BMPSTRING, std::string("\0!\0", 3)), "!\xEF\xBF\xBD");
    EXPECT_EQ(
        commonNameFromBroken(V_ASN1_BMPSTRING, std::string("\0!\xD8\x3D", 4)), "!\xEF\xBF\xBD");
}

TEST(X509Text, UniversalStringIsReadAsUtf32) {
    EXPECT_EQ(commonNameFrom(V_ASN1_UNIVERSALSTRING, std::string("\0\0\0J\0\x01\xF5\x8B", 8)),
        "J\xF0\x9F\x96\x8B");
}

TEST(X509Text, WhatIsNoCharacterInAUniversalStringIsReplaced) {
    EXPECT_EQ(commonNameFromBroken(V_ASN1_UNIVERSALSTRING, std::string("\0\x11\0\0\0\0\0!", 8)),
        "\xEF\xBF\xBD!");
    EXPECT_EQ(
        commonNameFromBroken(V_ASN1_UNIVERSALSTRING, std::string("\0\0\xD8\0", 4)), "\xEF\xBF\xBD");
    EXPECT_EQ(commonNameFromBroken(V_ASN1_UNIVERSALSTRING, std::string("\0\0\0!\0\0", 6)),
        "!\xEF\xBF\xBD");
}

TEST(X509Text, ValueThatIsNoTextIsItsDerInHexadecimal) {
    EXPECT_EQ(commonNameFrom(V_ASN1_BIT_STRING, "\xA5"), "#030200A5");
}

TEST(X509Text, CommasQuotesAndLineBreaksAreKeptAsTheyStand) {
    const std::string odd = std::string("Doe, \"Jo\"\r\n=+;<>\\\0end", 21);
    EXPECT_EQ(commonNameFrom(V_ASN1_UTF8STRING, odd), odd);
}

TEST(X509Text, SubjectTextIsOneLine) {
    EXPECT_EQ(
        valuesOfSubject({{"CN", "line\nbreak\x7F"}, {"O", ""}}).subjectText(), "line break , ");
}

TEST(X509Text, VeryLongNamesAreKeptWhole) {
    const std::string longText(60000, 'x');
    EXPECT_EQ(commonNameFrom(V_ASN1_UTF8STRING, longText), longText);
    std::vector<NameAttribute> many(500, {"OU", "unit"});
    EXPECT_EQ(subjectOf(valuesOfSubject(many)).size(), 500U);
}
