// SPDX-License-Identifier: MIT
#include "foundation/URLReference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Optional;

std::string resolved(const std::string& base, const std::string& reference) {
    return resolvedURL(URLReference::parse(base).value(), URLReference::parse(reference).value());
}

TEST(URLReferenceTest, PartsStayEncodedAndKeepTheirText) {
    const std::string text = "Quillet://a%20b:c%3a@H%2f:0443/p%41/?q=%26?#f/?";
    const URLReference url = URLReference::parse(text).value();
    EXPECT_EQ(url.scheme, "Quillet");
    EXPECT_EQ(url.authority->userInformation, "a%20b:c%3a");
    EXPECT_EQ(url.authority->host, "H%2f");
    EXPECT_EQ(url.authority->port, "0443");
    EXPECT_EQ(url.path, "/p%41/");
    EXPECT_EQ(url.query, "q=%26?");
    EXPECT_EQ(url.fragment, "f/?");
}

TEST(URLReferenceTest, EmptyPartsDifferFromAbsentOnes) {
    const URLReference empty = URLReference::parse("a://@:?#").value();
    EXPECT_THAT(empty.authority->userInformation, Optional(std::string_view()));
    EXPECT_THAT(empty.authority->port, Optional(std::string_view()));
    EXPECT_THAT(empty.query, Optional(std::string_view()));
    EXPECT_THAT(empty.fragment, Optional(std::string_view()));
    const URLReference absent = URLReference::parse("").value();
    EXPECT_FALSE(absent.scheme || absent.authority || absent.query || absent.fragment);
    EXPECT_FALSE(URLReference::parse("//h").value().authority->port);
}

TEST(URLReferenceTest, SchemesCompareInAnyLetterCase) {
    EXPECT_TRUE(URLReference::parse("HttpS://h").value().hasScheme("https"));
    EXPECT_FALSE(URLReference::parse("http://h").value().hasScheme("https"));
    EXPECT_FALSE(URLReference::parse("https2://h").value().hasScheme("https"));
    EXPECT_FALSE(URLReference::parse("//h").value().hasScheme("https"));
}

TEST(URLReferenceTest, HostsOfEveryForm) {
    for (const char* const host : {"", "h", "a-b_c~.d", "1.2.3.4", "1.2.3.4a", "1.2.3.4.",
             "10.0.0.1.example.org", "256.1.1.1", "%C3%A9", "!$&'()*+,;=", "[::]", "[::1]",
             "[1:2:3:4:5:6:7:8]", "[1:2:3:4:5:6:7::]", "[::2:3:4:5:6:7:8]", "[::ffff:1.2.3.4]",
             "[1:2:3:4:5:6:0.0.0.255]", "[ABCD::]", "[v1.x:y]", "[VA.!]"}) {
        const std::string text = "a://" + std::string(host) + ":1/";
        const auto url = URLReference::parse(text);
        ASSERT_TRUE(url) << host;
        EXPECT_EQ(url->authority->host, host);
    }
}

TEST(URLReferenceTest, HostsOfNoForm) {
    for (const char* const host : {"[", "[]", "]", "[::1", "[:]", "[:::]", "[1::2::3]",
             "[1:2:3:4:5:6:7]", "[1:2:3:4:5:6:7:8:9]", "[1:2:3:4:5:6:7:8::]", "[12345::]", "[::g]",
             "[1:]", "[:1::]", "[::1.2.3]", "[::1.2.3.4.5]", "[::1.2.3.256]", "[::01.2.3.4]",
             "[1.2.3.4::]", "[1:2:3:4:5:6:7:1.2.3.4]", "[::1%25eth0]", "[v.x]", "[vg.x]", "[v1.]",
             "[v1.%41]", "[v1x]", "h]", "a[::1]", "[::1]h", "[::1]1", "a b", "a%", "a%4", "a%4g",
             "a@b@c", "a\"b", "a<b", "a\\b", "a^b", "a`b", "a{b", "a|b", "\xC3\xA9"}) {
        EXPECT_FALSE(URLReference::parse("a://" + std::string(host) + "/")) << host;
    }
}

TEST(URLReferenceTest, PortsAreDigits) {
    for (const char* const port : {"x", "1x", "-1", "+1", "1:2", "%31"}) {
        EXPECT_FALSE(URLReference::parse("a://h:" + std::string(port))) << port;
    }
}

TEST(URLReferenceTest, AColonInTheFirstSegmentEndsAScheme) {
    EXPECT_EQ(URLReference::parse("a+1.-:b:c").value().path, "b:c");
    EXPECT_EQ(URLReference::parse("./1:b").value().path, "./1:b");
    EXPECT_EQ(URLReference::parse("?a:b").value().query, "a:b");
    for (const char* const text : {":a", "1a:b", "a_b:c", "+a:b", "%41:b"}) {
        EXPECT_FALSE(URLReference::parse(text)) << text;
    }
}

TEST(URLReferenceTest, CharactersThatAPartMayNotHold) {
    for (const char* const text : {"a b", "/[", "/]", "?[", "#[", "a#b#c", "?%", "#%4", "/\x7F",
             "/\n", "a://u[@h", "a://u/@h:x"}) {
        const bool isFine = std::string_view(text) == "a://u/@h:x";
        EXPECT_EQ(URLReference::parse(text).has_value(), isFine) << text;
    }
    EXPECT_FALSE(URLReference::parse(std::string("a\0b", 3)));
}

// The examples of RFC 3986, section 5.4, without their fragments.
TEST(URLReferenceTest, ReferencesResolveAsInTheStandardsExamples) {
    const std::pair<const char*, const char*> examples[] = {{"g:h", "g:h"}, {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"}, {"g/", "http://a/b/c/g/"}, {"/g", "http://a/g"},
        {"//g", "http://g"}, {"?y", "http://a/b/c/d;p?y"}, {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q"}, {"g#s", "http://a/b/c/g"}, {";x", "http://a/b/c/;x"},
        {"g;x?y#s", "http://a/b/c/g;x?y"}, {"", "http://a/b/c/d;p?q"}, {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"}, {"..", "http://a/b/"}, {"../", "http://a/b/"},
        {"../g", "http://a/b/g"}, {"../..", "http://a/"}, {"../../g", "http://a/g"},
        {"../../../g", "http://a/g"}, {"../../../../g", "http://a/g"}, {"/./g", "http://a/g"},
        {"/../g", "http://a/g"}, {"g.", "http://a/b/c/g."}, {".g", "http://a/b/c/.g"},
        {"..g", "http://a/b/c/..g"}, {"./../g", "http://a/b/g"}, {"./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/h"}, {"g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/y"}, {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/../x", "http://a/b/c/g?y/../x"}, {"http:g", "http:g"}};
    for (const auto& [reference, url] : examples) {
        EXPECT_EQ(resolved("http://a/b/c/d;p?q", reference), url) << reference;
    }
}

TEST(URLReferenceTest, UserPortAndEscapesStayWhenResolved) {
    EXPECT_EQ(resolved("https://u@h:1/a/b", "c%2Fd"), "https://u@h:1/a/c%2Fd");
    EXPECT_EQ(resolved("https://h", "c"), "https://h/c");
    EXPECT_EQ(resolved("https://h/a", "//[::1]:2/./x"), "https://[::1]:2/x");
}

TEST(URLReferenceTest, APathWithoutAuthorityNeverBecomesOne) {
    EXPECT_EQ(resolved("https://h", "a:b/..//c"), "a:/.//c");
}

TEST(URLReferenceTest, OnlyWhatIsAllowedSomewhereIsAURLCharacter) {
    EXPECT_TRUE(hasOnlyURLCharacters("azAZ09-._~:/?#[]@!$&'()*+,;=%\xC3\xA9"));
    for (const char c : std::string_view("\0\x1F \"<>\\^`{|}\x7F", 13)) {
        EXPECT_FALSE(hasOnlyURLCharacters(std::string(1, c))) << static_cast<int>(c);
    }
}

} // namespace
