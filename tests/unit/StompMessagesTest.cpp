// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompMessages.h"

#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace stomp;

namespace {

struct DecodedMessage {
    std::optional<Frame> frame;
    OwnedText body;
    std::string error;
};

DecodedMessage decoded(OwnedText first, OwnedText second, Limits limits = {}) {
    MessageDecoder decoder(limits, 5);
    DecodedMessage result;
    Frame frame;
    for (OwnedText* piece : {&first, &second}) {
        const auto outcome = decoder.decode(*piece, frame, result.body);
        if (outcome != MessageDecoder::Result::needMore) {
            result.error = decoder.error();
            if (outcome == MessageDecoder::Result::frame) {
                result.frame = std::move(frame);
            }
            break;
        }
    }
    return result;
}

} // namespace

TEST(StompMessages, LargeBodyStaysInTheMemoryInWhichItCame) {
    const std::string head = "\nMESSAGE\na:b\ncontent-length:5\nc:d\n\n";
    const std::string text = head + "h\0llo"s + nul + "\n";
    for (std::size_t cut = head.size(); cut <= text.size(); ++cut) {
        OwnedText rest(text);
        const char* const place = rest.data() + head.size();
        OwnedText first = rest.takePrefix(cut);
        const DecodedMessage result = decoded(std::move(first), std::move(rest));
        EXPECT_EQ(result.body.view(), "h\0llo\0"sv);
        EXPECT_EQ(result.body.view().data(), place);
        ASSERT_TRUE(result.frame);
        EXPECT_EQ(result.frame->command, "MESSAGE");
        EXPECT_THAT(result.frame->headers.entries(),
            testing::ElementsAre(testing::Pair("a", "b"), testing::Pair("content-length", "5"),
                testing::Pair("c", "d")));
    }
}

TEST(StompMessages, BodyOfSeveralMemoriesIsJoined) {
    for (const std::string length : {"content-length:5", "a:b"}) {
        const std::string text = frameText("MESSAGE\n" + length, "hello");
        for (std::size_t cut = 0; cut <= text.size(); ++cut) {
            const DecodedMessage result = decoded(text.substr(0, cut), text.substr(cut));
            EXPECT_EQ(result.body.view(), "hello" + nul);
            EXPECT_TRUE(result.frame && result.frame->body.empty());
        }
    }
}

TEST(StompMessages, LargeBodyMustEndWhereItsLengthSays) {
    const DecodedMessage result = decoded("MESSAGE\ncontent-length:5\n\nhello!", OwnedText());
    EXPECT_FALSE(result.frame);
    EXPECT_EQ(result.error, "a frame does not end where its content-length says");
}

TEST(StompMessages, LargeBodyIsBoundToTheLimit) {
    const std::string text = frameText("MESSAGE\ncontent-length:7", "1234567");
    EXPECT_TRUE(decoded(text, OwnedText(), {.body = 7}).frame);
    EXPECT_EQ(decoded(text, OwnedText(), {.body = 6}).error,
        "the body of a frame is larger than 6 bytes");
}

TEST(StompMessages, HeadOfALargeBodyKeepsTheRulesOfHeads) {
    for (const std::string line : {"no colon", "a:b\\x", ":c"}) {
        const DecodedMessage result
            = decoded(frameText("MESSAGE\ncontent-length:5\n" + line, "hello"), OwnedText());
        EXPECT_EQ(result.frame.has_value(), line == "a:b\\x") << line; // no version is settled
        EXPECT_EQ(result.error.empty(), line == "a:b\\x") << line;
    }
}
