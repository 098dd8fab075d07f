// SPDX-License-Identifier: MIT
#include "platform/shared/ProcessEnd.h"

#include "tests/support/AssembledPlatform.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>

namespace {

/// Says on standard error for how long it is flushed.
class TellingNetwork : public platform::Network {
public:
    std::unique_ptr<platform::URLSessionDataTask> dataTaskWithURL(
        const std::string&, platform::DataTaskCompletion) override {
        std::abort();
    }
    std::shared_ptr<platform::WebSocket> openWebSocket(
        const platform::WebSocketRequest&, std::weak_ptr<platform::WebSocketDelegate>) override {
        std::abort();
    }
    void flush(std::chrono::milliseconds limit) override {
        std::cerr << "flushed for " << limit.count() << " ms" << std::endl;
    }
};

class ProcessEndTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    platform::AssembledPlatform m_platform{
        nullptr, nullptr, nullptr, nullptr, std::make_unique<TellingNetwork>()};
    const platform::PlatformScope m_scope{m_platform};
};

TEST_F(ProcessEndTest, FlushesTheInstalledNetwork) {
    testing::internal::CaptureStderr();
    platform::flushNetwork();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "flushed for 5000 ms\n");
}

TEST_F(ProcessEndTest, ExitsAfterTheFlush) {
    EXPECT_EXIT(platform::flushAndExit(3), testing::ExitedWithCode(3), "flushed for 5000 ms");
    EXPECT_EXIT(platform::flushAndExit(0), testing::ExitedWithCode(0), "flushed for 5000 ms");
}

TEST_F(ProcessEndTest, AbortsAfterTheFlush) {
    EXPECT_EXIT(platform::flushAndAbort(), testing::KilledBySignal(SIGABRT), "flushed for 5000 ms");
}

} // namespace
