// SPDX-License-Identifier: MIT
#include "platform/shared/ModalApplication.h"

#include "tests/platform-shared/ManualQueue.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using platform::AppleEventDescriptor;
using platform::AppleEventParameter;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordedApplication : public platform::ModalApplication {
public:
    using ModalApplication::deliver;
    using ModalApplication::ModalApplication;

    int run(platform::NSApplicationDelegate&) override { std::abort(); }
    void setEventHandler(
        platform::AppleEventHandler, platform::FourCharCode, platform::FourCharCode) override {
        std::abort();
    }
    void performOnMainThread(std::function<void()> work) override {
        waiting.push_back(std::move(work));
    }

    std::vector<std::function<void()>> waiting;
};

class ModalApplicationTest : public testing::Test {
protected:
    void deliver(std::optional<AppleEventParameter> directObject) {
        const auto handler
            = [this](const AppleEventDescriptor* event, const AppleEventDescriptor* reply) {
                  EXPECT_EQ(reply, nullptr);
                  const auto* object = event->paramDescriptorForKeyword(platform::keyDirectObject);
                  events.push_back(
                      object == nullptr ? "no object" : object->stringValue.value_or("no text"));
              };
        application.deliver(handler, std::move(directObject));
    }

    ManualQueue queue;
    const std::shared_ptr<platform::ModalWork> work = std::make_shared<platform::ModalWork>(
        queue, []() -> std::unique_ptr<platform::Semaphore> { std::abort(); });
    RecordedApplication application{work};
    std::vector<std::string> events;
};

TEST_F(ModalApplicationTest, EventIsHandledInsideItsHandler) {
    deliver(AppleEventParameter{"quillet://h/"});
    deliver(AppleEventParameter{});
    deliver(std::nullopt);
    EXPECT_THAT(events, ElementsAre("quillet://h/", "no text", "no object"));
    EXPECT_THAT(application.waiting, IsEmpty());
}

TEST_F(ModalApplicationTest, EventThatComesDuringAnAlertWaitsUntilItIsAnswered) {
    work->run([&] { deliver(AppleEventParameter{"quillet://h/"}); });
    EXPECT_THAT(events, IsEmpty());
    ASSERT_EQ(application.waiting.size(), 1U);
    application.waiting.front()();
    EXPECT_THAT(events, ElementsAre("quillet://h/"));
}

} // namespace
