// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPolicyReport.h"

#include "tests/support/MemoryTrust.h"
#include "tests/support/PlatformTest.h"

namespace {

using platform::ManagedPolicy;
using testing::ElementsAre;

class ZqPolicyReportTest : public PlatformTest {
protected:
    Events reporting(ManagedPolicy policy, int expectedStatus) {
        policy.source = "/etc/quillet/policy.json";
        trust.policy = std::move(policy);
        return eventsOf([&] { EXPECT_EQ(ZqPolicyReport::print(), expectedStatus); });
    }

    MemoryTrust trust{memory};
};

TEST_F(ZqPolicyReportTest, WithoutPolicyItSaysSo) {
    EXPECT_THAT(reporting({ManagedPolicy::State::absent, "", "", {"\"log\" is ignored"}}, 0),
        ElementsAre("print: Signing policy: /etc/quillet/policy.json",
            "print: Note: \"log\" is ignored.",
            "print: There is none: any server may be signed with."));
}

TEST_F(ZqPolicyReportTest, EveryRuleInForceIsTold) {
    EXPECT_THAT(
        reporting({ManagedPolicy::State::present, "",
                      R"({"version":1,"servers":["SIGN.example.org"],"idleMinutes":5})", {}},
            0),
        ElementsAre("print: Signing policy: /etc/quillet/policy.json", "print: It is in force:",
            "print:   servers: sign.example.org:443", "print:   consent: none",
            "print:   content: any", "print:   idleMinutes: 5", "print:   log: full"));
}

TEST_F(ZqPolicyReportTest, WhatIsWrongIsToldWithStatus1) {
    EXPECT_THAT(reporting({ManagedPolicy::State::present, "", R"({"version":3})", {}}, 1),
        ElementsAre("print: Signing policy: /etc/quillet/policy.json",
            "print: It cannot be used, so every link is refused: \"version\" is not 1, the only one"
            " known."));
    EXPECT_THAT(reporting({ManagedPolicy::State::unusable, "", "The file is a link.", {}}, 1),
        ElementsAre("print: Signing policy: /etc/quillet/policy.json",
            "print: It cannot be used, so every link is refused: The file is a link."));
}

} // namespace
