// SPDX-License-Identifier: MIT
// Work beside the main thread, which serves dialogs meanwhile.
#include "platform/linux/SideWork.h"
#include "platform/linux/LinuxApplication.h"

#include <future>
#include <gmock/gmock.h>
#include <stdexcept>
#include <thread>

using platform::LinuxApplication;
using platform::SideWork;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

class SideWorkTest : public testing::Test {
protected:
    LinuxApplication application;
    std::vector<std::string> told;

    SideWork sideWork(std::chrono::milliseconds patience) {
        return {application, [this](const std::string& line) { told.push_back(line); }, patience};
    }
};

} // namespace

TEST_F(SideWorkTest, IsDoneOnAnotherThreadBeforeTheCallReturns) {
    std::thread::id worker;
    sideWork(1h).run("nothing", [&] { worker = std::this_thread::get_id(); });
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(SideWorkTest, NothingIsSaidOfWorkThatIsDoneInTime) {
    sideWork(1h).run("a card", [] {});
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(SideWorkTest, WhatIsWaitedForIsSaidOnTheMainThread) {
    const auto main = std::this_thread::get_id();
    std::promise<void> said;
    std::thread::id teller;
    const SideWork work(
        application,
        [&](const std::string& line) {
            told.push_back(line);
            teller = std::this_thread::get_id();
            said.set_value();
        },
        1ms);
    work.run("a card", [&] { said.get_future().wait(); });
    EXPECT_THAT(told, ElementsAre("Waiting for a card..."));
    EXPECT_EQ(teller, main);
}

TEST_F(SideWorkTest, MayAskTheUserOnTheMainThread) {
    const auto main = std::this_thread::get_id();
    std::thread::id asked;
    sideWork(1h).run(
        "a card", [&] { application.runModally([&] { asked = std::this_thread::get_id(); }); });
    EXPECT_EQ(asked, main);
}

TEST_F(SideWorkTest, HoldsBackAllOtherWorkOfTheMainThread) {
    bool isDone = false;
    application.performOnMainThread([&] { isDone = true; });
    sideWork(1ms).run("a card", [&] { application.runModally([] {}); });
    EXPECT_FALSE(isDone);
}

TEST_F(SideWorkTest, ItsExceptionIsTheCallers) {
    EXPECT_THROW(sideWork(1h).run("a card", [] { throw std::runtime_error("no card"); }),
        std::runtime_error);
}
