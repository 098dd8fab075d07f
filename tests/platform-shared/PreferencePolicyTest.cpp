// SPDX-License-Identifier: MIT
#include "platform/shared/PreferencePolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

namespace {

using platform::ManagedPolicy;
using platform::PropertyArray;
using platform::PropertyValue;
using testing::ElementsAre;
using testing::IsEmpty;

class PreferencePolicyTest : public testing::Test {
protected:
    void force(const std::string& key, PropertyValue value) {
        preferences.insert_or_assign(key, platform::Preference{std::move(value), true});
    }
    ManagedPolicy policy() const {
        return platform::policyOfPreferences(
            "profile", [this](const std::string& key) -> std::optional<platform::Preference> {
                const auto found = preferences.find(key);
                return found == preferences.end() ? std::nullopt : std::optional(found->second);
            });
    }

    std::map<std::string, platform::Preference> preferences;
};

TEST_F(PreferencePolicyTest, NothingSetIsNoPolicy) {
    EXPECT_EQ(policy().state, ManagedPolicy::State::absent);
    EXPECT_EQ(policy().source, "profile");
    EXPECT_EQ(policy().text, "");
    EXPECT_THAT(policy().remarks, IsEmpty());
}

TEST_F(PreferencePolicyTest, ForcedKeysAreThePolicyInTheirOrder) {
    force("log", "full");
    force("servers", PropertyArray{"a.example", PropertyArray{"b"}});
    force("version", 1);
    force("downloads", false);
    EXPECT_EQ(policy().state, ManagedPolicy::State::present);
    EXPECT_EQ(policy().text,
        R"({"version":1,"servers":["a.example",["b"]],"downloads":false,"log":"full"})");
}

TEST_F(PreferencePolicyTest, WhatIsSetButNotForcedIsLeftOutWithARemark) {
    force("version", 1);
    preferences.insert_or_assign("consent", platform::Preference{"session", false});
    EXPECT_EQ(policy().text, R"({"version":1})");
    EXPECT_THAT(policy().remarks,
        ElementsAre("\"consent\" is ignored, for it is set but not forced by an administrator"));
}

TEST_F(PreferencePolicyTest, UnforcedKeysAloneAreNoPolicy) {
    preferences.insert_or_assign("servers", platform::Preference{"a.example", false});
    EXPECT_EQ(policy().state, ManagedPolicy::State::absent);
    EXPECT_EQ(policy().remarks.size(), 1U);
}

TEST_F(PreferencePolicyTest, ValueThatNoPolicyHoldsIsItsDescription) {
    force("idleMinutes", Bytes{1, 2});
    EXPECT_EQ(policy().text, R"({"idleMinutes":"2 bytes"})");
}

TEST_F(PreferencePolicyTest, OtherKeysAreNotAskedFor) {
    force("NSWindow Frame", "0 0");
    EXPECT_EQ(policy().state, ManagedPolicy::State::absent);
}

} // namespace
