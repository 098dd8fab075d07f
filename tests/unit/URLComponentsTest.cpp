// SPDX-License-Identifier: MIT
#include "foundation/URLComponents.h"

#include "tests/support/CaseName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

using Item = std::pair<std::string, std::optional<std::string>>;

std::vector<Item> itemsOf(const std::string& url) {
    std::vector<Item> items;
    const URLComponents components = URLComponents::parse(url).value();
    for (const URLQueryItem& item : components.queryItems.value()) {
        items.emplace_back(item.name, item.value);
    }
    return items;
}

std::optional<std::uint64_t> portOf(const std::string& url) {
    return URLComponents::parse(url).value().port.value().number;
}

TEST(URLComponentsTest, AllPartsOfACustomUrl) {
    const URLComponents url
        = URLComponents::parse("quillet://sign.example:8443/pre/fix?roomId=r1").value();
    EXPECT_EQ(url.scheme, "quillet");
    EXPECT_EQ(url.host, "sign.example");
    EXPECT_EQ(url.port.value().number, 8443U);
    EXPECT_EQ(url.path, "/pre/fix");
    EXPECT_THAT(itemsOf("quillet://sign.example:8443/pre/fix?roomId=r1"),
        ElementsAre(Item("roomId", "r1")));
}

TEST(URLComponentsTest, MissingPartsAreAbsentAndTheMissingPathIsEmpty) {
    const URLComponents url = URLComponents::parse("relative").value();
    EXPECT_FALSE(url.scheme);
    EXPECT_FALSE(url.host);
    EXPECT_FALSE(url.port);
    EXPECT_EQ(url.path, "relative");
    EXPECT_FALSE(url.queryItems);
    EXPECT_EQ(URLComponents::parse("quillet://h").value().path, "");
}

TEST(URLComponentsTest, WithoutAuthorityThereIsNoHost) {
    const URLComponents url = URLComponents::parse("quillet:?roomId=1").value();
    EXPECT_EQ(url.scheme, "quillet");
    EXPECT_FALSE(url.host);
    EXPECT_EQ(url.getQueryParameter("roomId"), "1");
}

TEST(URLComponentsTest, AnEmptyAuthorityHasAnEmptyHost) {
    EXPECT_THAT(URLComponents::parse("quillet:///p").value().host, Optional(std::string()));
}

TEST(URLComponentsTest, SchemeKeepsItsLetterCase) {
    EXPECT_EQ(URLComponents::parse("QUILLET://h").value().scheme, "QUILLET");
}

TEST(URLComponentsTest, HostKeepsItsLetterCase) {
    EXPECT_EQ(URLComponents::parse("quillet://Sign.Example").value().host, "Sign.Example");
}

TEST(URLComponentsTest, HostAndPathAreDecoded) {
    const URLComponents url = URLComponents::parse("quillet://b%C3%BCro/a%20b%2Fc%3F").value();
    EXPECT_EQ(url.host, "b\xC3\xBCro");
    EXPECT_EQ(url.path, "/a b/c?");
}

TEST(URLComponentsTest, UserInformationIsNoPartOfTheHost) {
    const URLComponents url = URLComponents::parse("quillet://user:secret@h:1/p").value();
    EXPECT_EQ(url.host, "h");
    EXPECT_EQ(url.port.value().number, 1U);
}

TEST(URLComponentsTest, AddressOfVersionSixKeepsItsBrackets) {
    const URLComponents url = URLComponents::parse("quillet://[2001:db8::1]:8443/").value();
    EXPECT_EQ(url.host, "[2001:db8::1]");
    EXPECT_EQ(url.port.value().number, 8443U);
}

TEST(URLComponentsTest, EmptyPortIsNoPort) {
    const URLComponents url = URLComponents::parse("quillet://h:/p").value();
    EXPECT_EQ(url.host, "h");
    EXPECT_FALSE(url.port);
}

TEST(URLComponentsTest, PortIsReadInDecimalWithoutARange) {
    EXPECT_EQ(portOf("quillet://h:0443"), 443U);
    EXPECT_EQ(portOf("quillet://h:70000"), 70000U);
    EXPECT_EQ(
        portOf("quillet://h:18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
}

TEST(URLComponentsTest, APortBeyondSixtyFourBitsIsThereWithoutANumber) {
    EXPECT_EQ(portOf("quillet://h:18446744073709551616"), std::nullopt);
}

TEST(URLComponentsTest, AHostThatIsNoTextIsAbsent) {
    const URLComponents url = URLComponents::parse("quillet://%FF/p").value();
    EXPECT_FALSE(url.host);
    EXPECT_EQ(url.path, "/p");
}

TEST(URLComponentsTest, APathThatIsNoTextIsAbsent) {
    const URLComponents url = URLComponents::parse("quillet://h/%C3%28?a=1").value();
    EXPECT_FALSE(url.path);
    EXPECT_EQ(url.host, "h");
    EXPECT_EQ(url.getQueryParameter("a"), "1");
}

TEST(URLComponentsTest, FragmentBelongsToNeitherPathNorQuery) {
    EXPECT_THAT(itemsOf("quillet://h/p?roomId=1#roomId=2"), ElementsAre(Item("roomId", "1")));
    EXPECT_EQ(URLComponents::parse("quillet://h/p#f").value().path, "/p");
}

TEST(URLComponentsTest, ItemsAreDecodedAfterTheyAreTakenApart) {
    EXPECT_THAT(itemsOf("quillet://h?a%3Db=c%26d%3De&f=%E2%82%AC"),
        ElementsAre(Item("a=b", "c&d=e"), Item("f", "\xE2\x82\xAC")));
}

TEST(URLComponentsTest, PlusIsNoBlank) {
    EXPECT_THAT(itemsOf("quillet://h?a+b=c+d"), ElementsAre(Item("a+b", "c+d")));
}

TEST(URLComponentsTest, AnItemWithoutEqualsSignHasNoValue) {
    EXPECT_THAT(
        itemsOf("quillet://h?a&b"), ElementsAre(Item("a", std::nullopt), Item("b", std::nullopt)));
}

TEST(URLComponentsTest, AnItemWithNothingAfterTheEqualsSignHasTheEmptyText) {
    EXPECT_THAT(itemsOf("quillet://h?a="), ElementsAre(Item("a", "")));
}

TEST(URLComponentsTest, TheFirstEqualsSignDivides) {
    EXPECT_THAT(itemsOf("quillet://h?a=b=c&=d"), ElementsAre(Item("a", "b=c"), Item("", "d")));
}

TEST(URLComponentsTest, AnEmptyQueryHasNoItems) {
    EXPECT_THAT(itemsOf("quillet://h?"), IsEmpty());
}

TEST(URLComponentsTest, NothingBetweenSeparatorsIsAnItemWithoutName) {
    EXPECT_THAT(itemsOf("quillet://h?a=1&&b=2&"),
        ElementsAre(
            Item("a", "1"), Item("", std::nullopt), Item("b", "2"), Item("", std::nullopt)));
}

TEST(URLComponentsTest, AValueThatIsNoTextIsAbsent) {
    EXPECT_THAT(
        itemsOf("quillet://h?a=%FF&b=1"), ElementsAre(Item("a", std::nullopt), Item("b", "1")));
}

TEST(GetQueryParameterTest, TheFirstItemOfTheNameCounts) {
    EXPECT_EQ(
        URLComponents::parse("quillet://h?room=a&room=b").value().getQueryParameter("room"), "a");
    EXPECT_FALSE(URLComponents::parse("quillet://h?room&room=b").value().getQueryParameter("room"));
}

TEST(GetQueryParameterTest, WithoutQueryItIsAbsent) {
    EXPECT_FALSE(URLComponents::parse("quillet://h").value().getQueryParameter("room"));
}

TEST(GetQueryParameterTest, WithoutSuchAnItemItIsAbsent) {
    EXPECT_FALSE(URLComponents::parse("quillet://h?a=1").value().getQueryParameter("room"));
}

TEST(GetQueryParameterTest, NamesCompareExactly) {
    const URLComponents url
        = URLComponents::parse("quillet://h?Room=1&rooms=2&roo=3&ro%6Fm=4").value();
    EXPECT_EQ(url.getQueryParameter("room"), "4");
}

TEST(GetQueryParameterTest, AnEmptyValueIsPresent) {
    EXPECT_THAT(URLComponents::parse("quillet://h?room=").value().getQueryParameter("room"),
        Optional(std::string()));
}

struct Malformed {
    const char* name;
    std::string text;
};

void PrintTo(const Malformed& malformed, std::ostream* out) {
    *out << malformed.text;
}

class MalformedUrlTest : public testing::TestWithParam<Malformed> { };

TEST_P(MalformedUrlTest, DoesNotParse) {
    EXPECT_FALSE(URLComponents::parse(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Texts, MalformedUrlTest,
    testing::Values(Malformed{"Blank", "quillet://h/a b?roomId=1"},
        Malformed{"LineBreak", "quillet://h?roomId=1\n"},
        Malformed{"Umlaut", "quillet://b\xC3\xBCro?roomId=1"},
        Malformed{"BrokenEscape", "quillet://h/%4?roomId=1"},
        Malformed{"NoEscape", "quillet://h?roomId=%zz"},
        Malformed{"AngleBracket", "quillet://h/<p>?roomId=1"},
        Malformed{"PortOfLetters", "quillet://h:port?roomId=1"},
        Malformed{"PortEndingInLetters", "quillet://h:44x/p?roomId=1"},
        Malformed{"TwoPorts", "quillet://h:1:2/?roomId=1"},
        Malformed{"TextAfterBrackets", "quillet://[::1]x/?roomId=1"},
        Malformed{"OpenBracket", "quillet://[::1?roomId=1"},
        Malformed{"NoAddressInBrackets", "quillet://[::g]?roomId=1"}),
    nameOfCase<Malformed>);

TEST(FormsUrlTest, AbsoluteAndRelativeUrlsDo) {
    EXPECT_TRUE(formsURL("https://h:443/update/bundle?os=macos&version=1.10"));
    EXPECT_TRUE(formsURL("download.html"));
}

TEST(FormsUrlTest, EmptyTextAndIllegalCharactersDoNot) {
    EXPECT_FALSE(formsURL(""));
    EXPECT_FALSE(formsURL("https://h/a b"));
    EXPECT_FALSE(formsURL("https://h/%"));
    EXPECT_FALSE(formsURL("https://h:port/"));
}

} // namespace
