// SPDX-License-Identifier: MIT
// The policy of an administrator among the preferences of macOS.
#include "platform/macos/MacPlatform.h"

#include "tests/macos/MemoryCoreFoundation.h"
#include "tests/macos/MemoryPreferences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform {

namespace {

using memory::makeArray;
using memory::makeNumber;
using memory::makeString;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string application = "com.quillet.ZqMacClient";

class ManagedPreferencesTest : public testing::Test {
protected:
    ~ManagedPreferencesTest() override {
        memory::clearPreferences();
        EXPECT_EQ(memory::liveObjects(), m_objects);
    }

    static void force(const std::string& key, CFTypeRef value) {
        memory::preferences()[{application, key}] = {value, true};
    }
    static ManagedPolicy read() { return managedPreferences(application); }

private:
    const long m_objects = memory::liveObjects();
};

TEST_F(ManagedPreferencesTest, NothingForcedIsNoPolicy) {
    const ManagedPolicy policy = read();
    EXPECT_EQ(policy.state, ManagedPolicy::State::absent);
    EXPECT_THAT(policy.remarks, IsEmpty());
    EXPECT_EQ(policy.source, "managed preferences of com.quillet.ZqMacClient");
}

TEST_F(ManagedPreferencesTest, ForcedKeysAreThePolicy) {
    force("version", makeNumber(1));
    force("servers", makeArray({makeString(u"sign.example.org"), makeString(u"[::1]:8443")}));
    force("consent", makeString(u"session"));
    force("idleMinutes", makeNumber(15));
    const ManagedPolicy policy = read();
    EXPECT_EQ(policy.state, ManagedPolicy::State::present);
    EXPECT_EQ(policy.text,
        R"({"version":1,"servers":["sign.example.org","[::1]:8443"],)"
        R"("consent":"session","idleMinutes":15})");
}

TEST_F(ManagedPreferencesTest, WhatTheUserSetIsLeftOutWithARemark) {
    memory::preferences()[{application, "servers"}] = {makeArray({}), false};
    EXPECT_EQ(read().state, ManagedPolicy::State::absent);
    force("version", makeNumber(1));
    const ManagedPolicy policy = read();
    EXPECT_EQ(policy.text, R"({"version":1})");
    EXPECT_THAT(policy.remarks,
        ElementsAre("\"servers\" is ignored, for it is set but not forced by an administrator"));
}

TEST_F(ManagedPreferencesTest, PreferencesOfOtherApplicationsDoNotCount) {
    memory::preferences()[{"com.example.Other", "version"}] = {makeNumber(1), true};
    EXPECT_EQ(read().state, ManagedPolicy::State::absent);
}

TEST_F(ManagedPreferencesTest, ValuesKeepTheirTypesSoThatWrongOnesAreNoticed) {
    force("version", makeNumber(1.5));
    force("consent", CFRetain(kCFBooleanTrue));
    force("log", memory::makeDate());
    EXPECT_EQ(
        read().text, R"({"version":"number","consent":true,"log":"2026-01-01 00:00:00 +0000"})");
}

} // namespace

} // namespace platform
