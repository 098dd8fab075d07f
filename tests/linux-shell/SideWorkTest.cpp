// SPDX-License-Identifier: MIT
// Work beside the main thread, which serves dialogs meanwhile.
#include "platform/linux/SideWork.h"
#include "platform/linux/LinuxApplication.h"

#include <cstdlib>
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

    SideWork sideWork(SideWork::Patience patience) {
        return {application, [this](const std::string& line) { told.push_back(line); }, "Go away.",
            patience};
    }
    SideWork sideWork(std::chrono::milliseconds patience) {
        return sideWork(SideWork::Patience{patience, 1h});
    }
    static SideWork::Name named(const std::string& what) {
        return [what] { return what; };
    }
};

} // namespace

TEST_F(SideWorkTest, IsDoneOnAnotherThreadBeforeTheCallReturns) {
    std::thread::id worker;
    sideWork(1h).run(named("nothing"), [&] { worker = std::this_thread::get_id(); });
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(SideWorkTest, NothingIsSaidOfWorkThatIsDoneInTime) {
    sideWork(1h).run(named("a card"), [] {});
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(SideWorkTest, WhatIsWaitedForIsSaidOnTheMainThread) {
    const auto main = std::this_thread::get_id();
    std::promise<void> said;
    std::thread::id teller;
    const SideWork work(application,
        [&](const std::string& line) {
            told.push_back(line);
            teller = std::this_thread::get_id();
            said.set_value();
        },
        "", {1ms, 1h});
    work.run(named("a card"), [&] { said.get_future().wait(); });
    EXPECT_THAT(told, ElementsAre("Waiting for a card..."));
    EXPECT_EQ(teller, main);
}

TEST_F(SideWorkTest, WhatThenTakesLongIsSaidWithTheWayOut) {
    std::promise<void> said;
    std::string busyWith = "one";
    const SideWork work(application,
        [&](const std::string& line) {
            told.push_back(line);
            busyWith = "another";
            if (told.size() == 2) {
                said.set_value();
            }
        },
        "Go away.", {1ms, 1ms});
    work.run([&] { return busyWith; }, [&] { said.get_future().wait(); });
    EXPECT_THAT(told, ElementsAre("Waiting for one...", "Still waiting for another. Go away."));
}

TEST_F(SideWorkTest, MayAskTheUserOnTheMainThread) {
    const auto main = std::this_thread::get_id();
    std::thread::id asked;
    sideWork(1h).run(named("a card"),
        [&] { application.runModally([&] { asked = std::this_thread::get_id(); }); });
    EXPECT_EQ(asked, main);
}

TEST_F(SideWorkTest, HoldsBackAllOtherWorkOfTheMainThread) {
    bool isDone = false;
    application.performOnMainThread([&] { isDone = true; });
    sideWork(1ms).run(named("a card"), [&] { application.runModally([] {}); });
    EXPECT_FALSE(isDone);
}

TEST_F(SideWorkTest, ItsExceptionIsTheCallers) {
    EXPECT_THROW(sideWork(1h).run(named("a card"), [] { throw std::runtime_error("no card"); }),
        std::runtime_error);
}

/// Libraries clean up at the end of a process; one that hangs may never finish.
void cleanUpForEver() {
    std::this_thread::sleep_for(24h);
}

TEST(SideWorkDeathTest, ProcessEndsInTheMiddleOfWorkThatNeverDoes) {
    const auto endInTheMiddle = [] {
        std::atexit(cleanUpForEver);
        LinuxApplication application;
        const SideWork work(application, [&](const auto&) { application.stop(3); }, "", {1ms, 1h});
        work.run([] { return "a card"; }, cleanUpForEver);
    };
    EXPECT_EXIT(endInTheMiddle(), testing::ExitedWithCode(3), "");
}

TEST_F(SideWorkTest, NextWorkIsDoneOnTheSameThread) {
    const SideWork work(application, [](const std::string&) {}, "", {1h, 1h});
    std::vector<std::thread::id> workers;
    for (int i = 0; i < 3; ++i) {
        work.run([] { return "a card"; }, [&] { workers.push_back(std::this_thread::get_id()); });
    }
    EXPECT_EQ(workers, std::vector(3, workers.front()));
}

TEST_F(SideWorkTest, WorkThatBeginsWhileTheUserIsAskedIsDoneToo) {
    const SideWork work(application, [](const std::string&) {}, "", {1h, 1h});
    std::vector<std::string> done;
    work.run([] { return "a card"; },
        [&] {
            application.runModally(
                [&] { work.run([] { return "another"; }, [&] { done.emplace_back("another"); }); });
            done.emplace_back("a card");
        });
    EXPECT_THAT(done, ElementsAre("another", "a card"));
}

TEST_F(SideWorkTest, EachWorkThatTakesLongIsSaid) {
    std::promise<void> said;
    const auto tell = [&](const std::string& line) {
        told.push_back(line);
        said.set_value();
    };
    const SideWork work(application, tell, "", {1ms, 1h});
    for (const char* card : {"a card", "another"}) {
        work.run([card] { return card; }, [&] { said.get_future().wait(); });
        said = {};
    }
    EXPECT_THAT(told, ElementsAre("Waiting for a card...", "Waiting for another..."));
}
