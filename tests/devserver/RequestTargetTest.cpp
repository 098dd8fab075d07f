// SPDX-License-Identifier: MIT
#include "devserver/server/RequestTarget.h"

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

std::optional<std::string> roomOf(std::string_view target) {
    return RequestTarget::of(target).room();
}

TEST(RequestTargetTest, RoomIsWhatFollowsTheLastRoomSegment) {
    EXPECT_EQ(roomOf("/room/1"), "1");
    EXPECT_EQ(roomOf("/sign/v2/room/a-b?x=/room/2"), "a-b");
    EXPECT_EQ(roomOf("/room/1/room/2"), "2");
    EXPECT_EQ(roomOf("/room/a/b"), "a/b");
}

TEST(RequestTargetTest, RoomIsPercentDecoded) {
    EXPECT_EQ(roomOf("/room/a%20b%2Fc%C3%A4+"), "a b/c\xC3\xA4+");
    EXPECT_EQ(roomOf("/room/%4"), std::nullopt);
    EXPECT_EQ(roomOf("/room/%zz"), std::nullopt);
}

TEST(RequestTargetTest, RoomMayBeEmptyButNotMissing) {
    EXPECT_EQ(roomOf("/room/"), "");
    EXPECT_EQ(roomOf("/room"), std::nullopt);
    EXPECT_EQ(roomOf("/rooms/1"), std::nullopt);
    EXPECT_EQ(roomOf("/"), std::nullopt);
}

TEST(RequestTargetTest, FirstQueryItemOfANameCounts) {
    const RequestTarget target = RequestTarget::of("/x?flag&a=1%262&a=3&b=");
    EXPECT_EQ(target.path, "/x");
    EXPECT_EQ(target.queryValue("a"), "1&2");
    EXPECT_EQ(target.queryValue("b"), "");
    EXPECT_EQ(target.queryValue("flag"), std::nullopt);
    EXPECT_EQ(target.queryValue("c"), std::nullopt);
}

} // namespace
} // namespace devserver::test
