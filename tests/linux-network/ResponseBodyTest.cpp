// SPDX-License-Identifier: MIT
#include "platform/linux/net/ResponseBody.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using platform::linux_::ResponseBody;
using State = ResponseBody::State;

constexpr std::size_t limit = 1000;

struct BodyOutcome {
    State state;
    std::string body;
    friend bool operator==(const BodyOutcome&, const BodyOutcome&) = default;
    friend void PrintTo(const BodyOutcome& outcome, std::ostream* out) {
        *out << static_cast<int>(outcome.state) << " \"" << outcome.body << '"';
    }
};

/// The outcome of a stream, which must be the same in pieces of every size.
BodyOutcome outcomeOf(const ResponseBody& fresh, const std::string& stream) {
    std::optional<BodyOutcome> first;
    for (std::size_t size = std::max<std::size_t>(stream.size(), 1); size > 0; --size) {
        ResponseBody body = fresh;
        for (std::size_t at = 0; at < stream.size(); at += size) {
            body.take(std::string_view(stream).substr(at, size));
        }
        body.endOfStream();
        const State state = body.state();
        const BodyOutcome outcome{state, state == State::complete ? body.release() : ""};
        if (!first) {
            first = outcome;
        }
        EXPECT_EQ(outcome, *first) << "in pieces of " << size;
    }
    return first.value();
}

BodyOutcome chunked(const std::string& stream) {
    return outcomeOf(ResponseBody::chunked(limit), stream);
}

BodyOutcome plain(std::optional<std::uint64_t> length, const std::string& stream) {
    return outcomeOf(ResponseBody::plain(length, limit), stream);
}

TEST(ResponseBodyTest, LengthEndsTheBody) {
    EXPECT_EQ(plain(3, "abcdef"), (BodyOutcome{State::complete, "abc"}));
    EXPECT_EQ(plain(0, "abc"), (BodyOutcome{State::complete, ""}));
    EXPECT_EQ(plain(4, "abc"), (BodyOutcome{State::reading, ""}));
}

TEST(ResponseBodyTest, EndOfTheStreamEndsABodyWithoutLength) {
    EXPECT_EQ(plain(std::nullopt, "abc"), (BodyOutcome{State::complete, "abc"}));
    EXPECT_EQ(plain(std::nullopt, ""), (BodyOutcome{State::complete, ""}));
}

TEST(ResponseBodyTest, ChunksAreJoined) {
    EXPECT_EQ(
        chunked("3\r\nabc\r\n2\r\nde\r\n0\r\n\r\nrest"), (BodyOutcome{State::complete, "abcde"}));
    EXPECT_EQ(chunked("0\r\n\r\n"), (BodyOutcome{State::complete, ""}));
    EXPECT_EQ(chunked("00A;x=\"y\"\r\n0123456789\r\n0 \r\nTrailer: x\r\n\r\n"),
        (BodyOutcome{State::complete, "0123456789"}));
}

TEST(ResponseBodyTest, TrailerMayBeBrokenButNotEndless) {
    EXPECT_EQ(chunked("0\r\nhe\r\n\r\n"), (BodyOutcome{State::complete, ""}));
    std::string trailer;
    for (int i = 0; i < 70; ++i) {
        trailer += std::string(1000, 't') + "\r\n";
    }
    ResponseBody body = ResponseBody::chunked(limit);
    body.take("0\r\n" + trailer);
    EXPECT_EQ(body.state(), State::malformed);
}

TEST(ResponseBodyTest, BrokenChunksAreMalformed) {
    for (const char* stream : {"x\r\n", "\r\n", "-1\r\n", "3\nabc", "3\r\nabcd\r\n",
             "3\r\nabc\n0\r\n", "10000000000000000\r\n", "3x\r\nabc\r\n", "0\nhe\n\n"}) {
        EXPECT_EQ(chunked(stream).state, State::malformed) << stream;
    }
    EXPECT_EQ(chunked(std::string(5000, '1')).state, State::malformed);
}

TEST(ResponseBodyTest, CutChunksAreNotComplete) {
    const std::string whole = "3\r\nabc\r\n0\r\nTrailer: x\r\n\r\n";
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_EQ(chunked(whole.substr(0, cut)).state, State::reading) << cut;
    }
    EXPECT_EQ(chunked(whole).state, State::complete);
}

TEST(ResponseBodyTest, LimitHolds) {
    const std::string most(limit, 'x');
    EXPECT_EQ(plain(limit, most), (BodyOutcome{State::complete, most}));
    EXPECT_EQ(plain(limit + 1, "").state, State::tooLong);
    EXPECT_EQ(plain(std::nullopt, most), (BodyOutcome{State::complete, most}));
    EXPECT_EQ(plain(std::nullopt, most + "x").state, State::tooLong);
    EXPECT_EQ(chunked("3E8\r\n" + most + "\r\n0\r\n\r\n"), (BodyOutcome{State::complete, most}));
    EXPECT_EQ(chunked("3E9\r\n").state, State::tooLong);
    EXPECT_EQ(chunked("1\r\nx\r\n3E8\r\n").state, State::tooLong);
    EXPECT_EQ(chunked("ffffffffffffffff\r\n").state, State::tooLong);
}

} // namespace
