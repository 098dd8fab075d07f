// SPDX-License-Identifier: MIT
#include "platform/OutOfMemory.h"

#include "tests/support/AssembledPlatform.h"
#include "tests/support/MemorySystem.h"

#include <csignal>
#include <gtest/gtest.h>
#include <iostream>
#include <new>

namespace {

/// Writes the log to standard error.
class TellingSystem : public MemorySystem {
public:
    using MemorySystem::MemorySystem;
    void NSLog(platform::LogText text) override {
        for (const platform::LogPiece& piece : text) {
            std::cerr << piece.view();
        }
        std::cerr << std::endl;
        if (runsOutAgain) {
            std::get_new_handler()();
        }
    }
    bool runsOutAgain = false;
};

class OutOfMemoryDeathTest : public testing::Test {
protected:
    OutOfMemoryDeathTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        auto telling = std::make_unique<TellingSystem>(m_trace);
        system = telling.get();
        m_platform = std::make_unique<platform::AssembledPlatform>(
            nullptr, nullptr, std::move(telling), nullptr, nullptr);
        m_scope = std::make_unique<platform::PlatformScope>(*m_platform);
    }

    TellingSystem* system = nullptr;

private:
    Trace m_trace;
    std::unique_ptr<platform::AssembledPlatform> m_platform;
    std::unique_ptr<platform::PlatformScope> m_scope;
};

TEST_F(OutOfMemoryDeathTest, EndsTheProcessWithALineInTheLog) {
    EXPECT_EXIT(
        {
            platform::endWhenMemoryRunsOut();
            std::get_new_handler()();
        },
        testing::KilledBySignal(SIGABRT), "Fatal error: this computer has no memory left\n");
}

TEST_F(OutOfMemoryDeathTest, EndsTheProcessAlsoWhenTheLineTakesTooMuch) {
    system->runsOutAgain = true;
    EXPECT_EXIT(
        {
            platform::endWhenMemoryRunsOut();
            std::get_new_handler()();
        },
        testing::KilledBySignal(SIGABRT), "Fatal error: ");
}

} // namespace
