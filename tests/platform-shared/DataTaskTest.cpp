// SPDX-License-Identifier: MIT
#include "platform/shared/DataTask.h"

#include "tests/platform-shared/ManualQueue.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using Text = std::optional<std::string>;

/// What a completion handler is told, as text.
std::string told(const Text& error, const Text& data, const platform::URLResponse& response) {
    std::vector<std::string> calls;
    const auto completion = [&](const Text& receivedData,
                                const std::optional<platform::URLResponse>& receivedResponse,
                                const std::optional<platform::TransportError>& receivedError) {
        calls.push_back(receivedData.value_or("no data") + ", "
            + (receivedResponse ? std::to_string(receivedResponse->statusCode) + " from "
                        + receivedResponse->url
                                : "no response")
            + ", " + (receivedError ? receivedError->localizedDescription : "no error"));
    };
    platform::completeDataTask(completion, error, data, response);
    EXPECT_EQ(calls.size(), 1U);
    return calls.front();
}

TEST(DataTaskTest, NothingHappensBeforeItIsResumed) {
    int resumed = 0;
    const auto task = platform::makeDataTask([&] { ++resumed; });
    EXPECT_EQ(resumed, 0);
    task->resume();
    EXPECT_EQ(resumed, 1);
}

TEST(DataTaskTest, RefusedOneIsToldSoOnTheQueueOnceItIsResumed) {
    ManualQueue queue;
    std::vector<std::string> errors;
    const auto task = platform::makeRefusedDataTask(
        queue,
        [&](const Text& data, const auto& response, const auto& error) {
            EXPECT_FALSE(data || response);
            errors.push_back(error->localizedDescription);
        },
        "not allowed");
    queue.run();
    EXPECT_TRUE(errors.empty());
    task->resume();
    EXPECT_TRUE(errors.empty());
    queue.run();
    EXPECT_EQ(errors, std::vector<std::string>{"not allowed"});
}

TEST(DataTaskTest, AnswerOfAnyStatusIsHandedOn) {
    EXPECT_EQ(told({}, "body", {"https://h/", 200}), "body, 200 from https://h/, no error");
    EXPECT_EQ(told({}, "", {"https://h/", 299}), ", 299 from https://h/, no error");
    EXPECT_EQ(told({}, {}, {"https://h/", 404}), "no data, 404 from https://h/, no error");
    EXPECT_EQ(told({}, "x", {"https://h/", 400}), "x, 400 from https://h/, no error");
}

TEST(DataTaskTest, ErrorComesAlone) {
    EXPECT_EQ(told("no network", "part", {"https://h/", 200}), "no data, no response, no network");
    EXPECT_EQ(told("timed out", {}, {"", 302}), "no data, no response, timed out");
}

TEST(DataTaskTest, RedirectThatWasNotFollowedIsAnAnswer) {
    for (const int status : {300, 302, 304, 399}) {
        EXPECT_EQ(told({}, "moved", {"https://h/", status}),
            "moved, " + std::to_string(status) + " from https://h/, no error");
    }
}

} // namespace
