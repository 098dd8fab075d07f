// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqServerList.h"

#include "tests/support/CaseName.h"
#include "tests/support/MemoryTrust.h"
#include "tests/support/PlatformTest.h"

namespace {

using testing::ElementsAre;

class ZqServerListTest : public PlatformTest {
protected:
    ZqServerListTest() {
        trust.asciiNames = {{"bücher.example", "xn--bcher-kva.example"},
            {"BÜCHER.example.", "xn--bcher-kva.example"}};
    }

    bool isRefused(const std::string& entry) { return ZqServerList().add(entry).has_value(); }

    /// Whether a list of this one entry allows a host as a link has it.
    bool allows(const std::string& entry, const std::string& host, std::uint64_t port = 443) {
        ZqServerList list;
        EXPECT_EQ(list.add(entry), std::nullopt) << entry;
        const auto found = trust.hostToConnect(host);
        return found && list.allows(*found, port);
    }

    MemoryTrust trust{memory};
};

TEST_F(ZqServerListTest, AnEmptyListAllowsNone) {
    EXPECT_FALSE(ZqServerList().allows({"sign.example.org", false, {}}, 443));
}

TEST_F(ZqServerListTest, WithoutPortItIs443Alone) {
    EXPECT_TRUE(allows("sign.example.org", "sign.example.org"));
    EXPECT_FALSE(allows("sign.example.org", "sign.example.org", 8443));
    EXPECT_FALSE(allows("sign.example.org", "sign.example.org", 0));
}

TEST_F(ZqServerListTest, AGivenPortIsTheOnlyOne) {
    EXPECT_TRUE(allows("sign.example.org:8443", "sign.example.org", 8443));
    EXPECT_FALSE(allows("sign.example.org:8443", "sign.example.org", 443));
    EXPECT_FALSE(allows("sign.example.org:8443", "sign.example.org", 8443 + 65536));
}

TEST_F(ZqServerListTest, AStarIsAnyPort) {
    for (const std::uint64_t port : {1U, 443U, 65535U}) {
        EXPECT_TRUE(allows("sign.example.org:*", "sign.example.org", port));
        EXPECT_FALSE(allows("sign.example.org:*", "evil.example", port));
    }
}

TEST_F(ZqServerListTest, NamesAreComparedWithoutCaseAndTrailingDot) {
    for (const char* const host : {"SIGN.example.ORG", "sign.example.org.", "sign%2Eexample.org",
             "%73ign.example.org", "Sign.Example.Org."}) {
        EXPECT_TRUE(allows("sign.example.org", host)) << host;
    }
    EXPECT_TRUE(allows("SIGN.Example.org.", "sign.example.org"));
}

TEST_F(ZqServerListTest, OtherNamesAreOtherServers) {
    for (const char* const host :
        {"evil.example", "sign.example.org.evil.example", "evilsign.example.org", "sign.example.or",
            "a.sign.example.org", "example.org", "sign.example.org..", ".sign.example.org",
            "sign-example.org", "sign.example.org%00.evil.example", "sign.example.org%20",
            "sign.example.org@evil.example", ""}) {
        EXPECT_FALSE(allows("sign.example.org", host)) << host;
    }
}

TEST_F(ZqServerListTest, InternationalNamesAreComparedAsALabels) {
    for (const char* const entry : {"bücher.example", "xn--bcher-kva.example"}) {
        for (const char* const host : {"bücher.example", "BÜCHER.example.", "xn--bcher-kva.example",
                 "XN--BCHER-KVA.example"}) {
            EXPECT_TRUE(allows(entry, host)) << entry << " " << host;
        }
        EXPECT_FALSE(allows(entry, "bucher.example"));
    }
}

TEST_F(ZqServerListTest, AWildcardIsExactlyOneWholeLabel) {
    EXPECT_TRUE(allows("*.eu.example.org", "sign.eu.example.org"));
    EXPECT_TRUE(allows("*.eu.example.org", "SIGN.EU.example.org."));
    EXPECT_TRUE(allows("*.eu.example.org:8443", "sign.eu.example.org", 8443));
    for (const char* const host : {"eu.example.org", "a.b.eu.example.org", ".eu.example.org",
             "eu.example.org.", "xeu.example.org", "sign-eu.example.org", "sign.eu.example.org.x.y",
             "a..eu.example.org"}) {
        EXPECT_FALSE(allows("*.eu.example.org", host)) << host;
    }
    EXPECT_FALSE(allows("*.eu.example.org", "sign.eu.example.org", 8443));
}

TEST_F(ZqServerListTest, AWildcardIsNeverForAnAddress) {
    for (const char* const host : {"192.0.2.7", "[::1]"}) {
        EXPECT_FALSE(allows("*.0.example", host));
    }
    const platform::NetworkHost odd{"1.2.example.org", true, {}};
    ZqServerList list;
    EXPECT_EQ(list.add("*.2.example.org"), std::nullopt);
    EXPECT_FALSE(list.allows(odd, 443));
}

TEST_F(ZqServerListTest, AddressesAreComparedAsAddresses) {
    for (const char* const host :
        {"[::1]", "[0:0:0:0:0:0:0:1]", "[0000::0001]", "%5B::1%5D", "::1", "[::0.0.0.1]"}) {
        EXPECT_TRUE(allows("[::1]", host)) << host;
        EXPECT_TRUE(allows("[0:0::1]:443", host)) << host;
    }
    for (const char* const host : {"[::2]", "[::1%25eth0]", "[::ffff:0.0.0.1]", "0.0.0.1"}) {
        EXPECT_FALSE(allows("[::1]", host)) << host;
    }
    EXPECT_TRUE(allows("[2001:DB8::A]", "[2001:db8:0:0:0:0:0:a]"));
    EXPECT_TRUE(allows("192.0.2.7", "192.0.2.7"));
    for (const char* const host : {"192.0.2.70", "192.0.2.7.", "192.0.519", "0xC0000207",
             "3221225991", "0300.0.2.7", "192.0.02.7", "[::ffff:192.0.2.7]"}) {
        EXPECT_FALSE(allows("192.0.2.7", host)) << host;
    }
}

TEST_F(ZqServerListTest, EntriesAreTriedOneAfterTheOther) {
    ZqServerList list;
    for (const char* const entry : {"one.example.org", "[::1]:8443", "*.eu.example.org:*"}) {
        EXPECT_EQ(list.add(entry), std::nullopt);
    }
    EXPECT_TRUE(list.allows({"one.example.org", false, {}}, 443));
    EXPECT_TRUE(list.allows({"::1", true, {}}, 8443));
    EXPECT_TRUE(list.allows({"x.eu.example.org", false, {}}, 1));
    EXPECT_FALSE(list.allows({"::1", true, {}}, 443));
    EXPECT_THAT(
        list.entries(), ElementsAre("one.example.org:443", "[::1]:8443", "*.eu.example.org:*"));
}

struct BadEntry {
    const char* name;
    const char* text;
    friend std::ostream& operator<<(std::ostream& out, const BadEntry& value) {
        return out << value.name;
    }
};

class BadEntryTest : public ZqServerListTest, public testing::WithParamInterface<BadEntry> { };

TEST_P(BadEntryTest, IsNotTaken) {
    ZqServerList list;
    EXPECT_NE(list.add(GetParam().text), std::nullopt) << GetParam().text;
    EXPECT_TRUE(list.entries().empty());
}

INSTANTIATE_TEST_SUITE_P(Entries, BadEntryTest,
    testing::Values(BadEntry{"Empty", ""}, BadEntry{"Star", "*"}, BadEntry{"StarAndPort", "*:443"},
        BadEntry{"StarDot", "*."}, BadEntry{"OneLabelUnderStar", "*.org"},
        BadEntry{"OneLabelAndDotUnderStar", "*.org."}, BadEntry{"TwoStars", "*.*.example.org"},
        BadEntry{"StarInside", "sign.*.example.org"}, BadEntry{"PartOfALabel", "s*.example.org"},
        BadEntry{"StarBeforeAddress", "*.192.0.2.7"}, BadEntry{"StarBeforeBrackets", "*.[::1]"},
        BadEntry{"Url", "https://sign.example.org"}, BadEntry{"Path", "sign.example.org/p"},
        BadEntry{"User", "user@sign.example.org"}, BadEntry{"Query", "sign.example.org?x"},
        BadEntry{"PortZero", "sign.example.org:0"},
        BadEntry{"PortTooLarge", "sign.example.org:65536"}, BadEntry{"NoPort", "sign.example.org:"},
        BadEntry{"PortWithZero", "sign.example.org:0443"},
        BadEntry{"PortOfWords", "sign.example.org:https"},
        BadEntry{"PortWithBlank", "sign.example.org: 443"},
        BadEntry{"PortWithSign", "sign.example.org:+443"},
        BadEntry{"TwoPorts", "sign.example.org:443:443"}, BadEntry{"BareLongAddress", "::1"},
        BadEntry{"OpenBracket", "[::1"}, BadEntry{"AfterBracket", "[::1]x"},
        BadEntry{"ShortAddressInBrackets", "[192.0.2.7]"},
        BadEntry{"NameInBrackets", "[example.org]"}, BadEntry{"Zone", "[fe80::1%25eth0]"},
        BadEntry{"EmptyLabel", "sign..example.org"}, BadEntry{"LeadingDot", ".example.org"},
        BadEntry{"TwoTrailingDots", "example.org.."}, BadEntry{"Blank", "sign .example.org"},
        BadEntry{"BlankBefore", " sign.example.org"}, BadEntry{"LineBreak", "sign.example.org\n"},
        BadEntry{"Escape", "sign%2Eexample.org"}, BadEntry{"NumberAtTheEnd", "sign.example.127"},
        BadEntry{"Number", "2130706433"}, BadEntry{"HexNumber", "0x7f000001"},
        BadEntry{"ShortenedAddress", "127.1"},
        BadEntry{"UnknownInternationalName", "\xC3\xA9.example"},
        BadEntry{"LongLabel",
            "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa.example"}),
    nameOfCase<BadEntry>);

} // namespace
