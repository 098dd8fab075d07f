// SPDX-License-Identifier: MIT
// The fixture of tests over Core Foundation and Security in memory: every object is released.
#pragma once

#include "tests/macos/MemorySecurity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

class MemoryKeychainTest : public testing::Test {
protected:
    MemoryKeychainTest() { keychain = memory::Keychain(); }
    void TearDown() override { EXPECT_EQ(memory::liveObjects(), 0); }

    memory::Keychain& keychain = memory::keychain();
};
