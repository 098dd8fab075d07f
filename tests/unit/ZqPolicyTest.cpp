// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPolicy.h"

#include "tests/support/CaseName.h"
#include "tests/support/MemoryTrust.h"
#include "tests/support/PlatformTest.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ZqPolicyTest : public PlatformTest {
protected:
    static ZqPolicy policyOf(const std::string& text) {
        ZqPolicy::Reading reading = ZqPolicy::read(text);
        EXPECT_TRUE(reading.policy) << reading.problem;
        return reading.policy.value_or(ZqPolicy());
    }

    MemoryTrust trust{memory};
};

TEST_F(ZqPolicyTest, WithoutFurtherKeysNothingIsRuled) {
    const ZqPolicy policy = policyOf(R"({"version": 1})");
    EXPECT_FALSE(policy.servers());
    EXPECT_FALSE(policy.downloads());
    EXPECT_EQ(policy.consent(), ZqConsentRule::none);
    EXPECT_EQ(policy.content(), ZqContentRule::any);
    EXPECT_EQ(policy.idleMinutes(), std::nullopt);
    EXPECT_FALSE(policy.redactsLog());
}

TEST_F(ZqPolicyTest, EveryKeyIsRead) {
    const ZqPolicy policy = policyOf(R"({"version": 1,
        "servers": ["sign.example.org", "sign.example.org:8443", "*.eu.example.org"],
        "consent": "session", "content": "documents", "downloads": ["get.example.org"],
        "idleMinutes": 15, "log": "redacted"})");
    EXPECT_EQ(policy.consent(), ZqConsentRule::session);
    EXPECT_EQ(policy.content(), ZqContentRule::documents);
    EXPECT_EQ(policy.idleMinutes(), 15U);
    EXPECT_TRUE(policy.redactsLog());
    EXPECT_THAT(policy.description(),
        ElementsAre("servers: sign.example.org:443, sign.example.org:8443, *.eu.example.org:443",
            "consent: session", "content: documents", "downloads: get.example.org:443",
            "idleMinutes: 15", "log: redacted"));
}

TEST_F(ZqPolicyTest, EveryWordOfARuleIsKnown) {
    EXPECT_EQ(policyOf(R"({"version":1,"consent":"none"})").consent(), ZqConsentRule::none);
    EXPECT_EQ(
        policyOf(R"({"version":1,"consent":"signature"})").consent(), ZqConsentRule::signature);
    EXPECT_EQ(policyOf(R"({"version":1,"content":"any"})").content(), ZqContentRule::any);
    EXPECT_FALSE(policyOf(R"({"version":1,"log":"full"})").redactsLog());
}

TEST_F(ZqPolicyTest, AnEmptyListOfServersAllowsNone) {
    const ZqPolicy policy = policyOf(R"({"version":1,"servers":[]})");
    ASSERT_TRUE(policy.servers());
    EXPECT_FALSE(policy.servers()->allows({"sign.example.org", false, {}}, 443));
    EXPECT_THAT(policy.description(), testing::Contains("servers: (none)"));
}

TEST_F(ZqPolicyTest, IdleMinutesAreOneToADay) {
    EXPECT_EQ(policyOf(R"({"version":1,"idleMinutes":1})").idleMinutes(), 1U);
    EXPECT_EQ(policyOf(R"({"version":1,"idleMinutes":1440})").idleMinutes(), 1440U);
}

struct BadPolicy {
    const char* name;
    const char* text;
    const char* problem;
    friend std::ostream& operator<<(std::ostream& out, const BadPolicy& value) {
        return out << value.name;
    }
};

class BadPolicyTest : public ZqPolicyTest, public testing::WithParamInterface<BadPolicy> { };

TEST_P(BadPolicyTest, CannotBeUsed) {
    const ZqPolicy::Reading reading = ZqPolicy::read(GetParam().text);
    EXPECT_FALSE(reading.policy);
    EXPECT_THAT(reading.problem, HasSubstr(GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(Texts, BadPolicyTest,
    testing::Values(BadPolicy{"Empty", "", "JSON"}, BadPolicy{"NotJson", "servers = []", "JSON"},
        BadPolicy{"Comment", "{\"version\":1} // all", "JSON"},
        BadPolicy{"TrailingComma", "{\"version\":1,}", "JSON"},
        BadPolicy{"TwoValues", "{\"version\":1}{}", "JSON"},
        BadPolicy{"NotUtf8", "{\"version\":1,\"log\":\"\xFF\"}", "JSON"},
        BadPolicy{"Array", "[]", "not a JSON object"},
        BadPolicy{"NoVersion", R"({"servers":[]})", "\"version\" is missing"},
        BadPolicy{"OtherVersion", R"({"version":2})", "\"version\" is not 1"},
        BadPolicy{"VersionOfText", R"({"version":"1"})", "\"version\" is not 1"},
        BadPolicy{"VersionWithFraction", R"({"version":1.0})", "\"version\" is not 1"},
        BadPolicy{"VersionTwice", R"({"version":1,"version":1})", "\"version\" stands there twice"},
        BadPolicy{"KeyTwice", R"({"version":1,"servers":["a.example"],"servers":[]})",
            "\"servers\" stands there twice"},
        BadPolicy{"UnknownKey", R"({"version":1,"server":[]})", "\"server\" is not a key"},
        BadPolicy{"KeyInOtherCase", R"({"version":1,"Servers":[]})", "\"Servers\" is not a key"},
        BadPolicy{"ServersOfText", R"({"version":1,"servers":"a.example"})", "is not a list"},
        BadPolicy{"ServersNull", R"({"version":1,"servers":null})", "is not a list"},
        BadPolicy{"ServerOfNumber", R"({"version":1,"servers":[1]})", "holds what is not text"},
        BadPolicy{"BadServer", R"({"version":1,"servers":["a.example","*"]})", "holds \"*\": "},
        BadPolicy{"BadDownload", R"({"version":1,"downloads":["https://a.example"]})",
            "holds \"https://a.example\": "},
        BadPolicy{"DownloadsOfObject", R"({"version":1,"downloads":{}})", "is not a list"},
        BadPolicy{"UnknownConsent", R"({"version":1,"consent":"always"})",
            "is none of \"none\", \"session\", \"signature\""},
        BadPolicy{"ConsentInOtherCase", R"({"version":1,"consent":"Session"})", "is none of"},
        BadPolicy{"ConsentTrue", R"({"version":1,"consent":true})", "is none of"},
        BadPolicy{"UnknownContent", R"({"version":1,"content":"pdf"})",
            "is none of \"any\", \"documents\""},
        BadPolicy{
            "UnknownLog", R"({"version":1,"log":"off"})", "is none of \"full\", \"redacted\""},
        BadPolicy{"NoMinutes", R"({"version":1,"idleMinutes":0})", "1 to 1440"},
        BadPolicy{"TooManyMinutes", R"({"version":1,"idleMinutes":1441})", "1 to 1440"},
        BadPolicy{"NegativeMinutes", R"({"version":1,"idleMinutes":-1})", "1 to 1440"},
        BadPolicy{"MinutesWithFraction", R"({"version":1,"idleMinutes":1.5})", "1 to 1440"},
        BadPolicy{"MinutesOfText", R"({"version":1,"idleMinutes":"15"})", "1 to 1440"},
        BadPolicy{"HugeMinutes", R"({"version":1,"idleMinutes":4294967297})", "1 to 1440"}),
    nameOfCase<BadPolicy>);

} // namespace
