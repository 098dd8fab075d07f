// SPDX-License-Identifier: MIT
#include "platform/linux/ServerOfLink.h"

#include <gtest/gtest.h>

namespace {

using platform::roomCodeOfLink;
using platform::serverOfLink;

TEST(ServerOfLinkTest, HostIsNamedWithAnUnusualPort) {
    EXPECT_EQ(serverOfLink("quillet://sign.example.org?roomId=1"), "sign.example.org");
    EXPECT_EQ(serverOfLink("quillet://sign.example.org:443/a?roomId=1"), "sign.example.org");
    EXPECT_EQ(serverOfLink("quillet://sign.example.org:8443/a?roomId=1"), "sign.example.org:8443");
}

TEST(ServerOfLinkTest, HostIsTheOneThatIsLookedUp) {
    EXPECT_EQ(serverOfLink("quillet://SIGN.Example.org.?roomId=1"), "sign.example.org");
    EXPECT_EQ(serverOfLink("quillet://bank.example@evil.example?roomId=1"), "evil.example");
    EXPECT_EQ(serverOfLink("quillet://%73ign.example?roomId=1"), "sign.example");
    EXPECT_EQ(serverOfLink("quillet://[::1]:8443?roomId=1"), "[::1]:8443");
    EXPECT_EQ(serverOfLink("quillet://b%C3%BCcher.example?roomId=1"), "xn--bcher-kva.example");
}

TEST(ServerOfLinkTest, LinkWithoutAServerNamesNone) {
    for (const char* link : {"", "quillet:?roomId=1", "quillet://?roomId=1",
             "quillet://a%20b?roomId=1", "quillet://h:70000?roomId=1",
             "quillet://h:99999999999999999999?roomId=1", "not a link"}) {
        EXPECT_EQ(serverOfLink(link), "") << link;
    }
}

TEST(ServerOfLinkTest, RoomHasACodeOfSixDigitsOfItsDigest) {
    EXPECT_EQ(roomCodeOfLink("quillet://h?roomId="), "012610");
    EXPECT_EQ(roomCodeOfLink("quillet://h?roomId=r1"), "023174");
    EXPECT_EQ(roomCodeOfLink("quillet://other/path?a=b&roomId=room%35"), "034609");
    for (const char* link : {"", "quillet://h", "quillet://h?roomid=1", "quillet://h?roomId"}) {
        EXPECT_EQ(roomCodeOfLink(link), "") << link;
    }
}

} // namespace
