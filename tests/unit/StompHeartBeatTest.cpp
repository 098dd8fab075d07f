// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompHeartBeat.h"

#include "tests/support/StompClientTest.h"

using platform::WebSocketTimers;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

namespace {

class StompHeartBeatTest : public StompClientTest {
protected:
    WebSocketTimers timersAfter(const std::string& connected) {
        m_client = makeClient();
        open();
        receive(frameText(connected));
        return server().timers;
    }
};

} // namespace

TEST_F(StompHeartBeatTest, HeaderIsTwoNumbers) {
    const std::pair<const char*, stomp::HeartBeat> fine[] = {
        {"0,0", {}},
        {"1,20000", {milliseconds(1), milliseconds(20000)}},
        {"010,5", {milliseconds(10), milliseconds(5)}},
        {"86400001,99999999999999999999999", {std::chrono::hours(24), std::chrono::hours(24)}},
    };
    for (const auto& [text, expected] : fine) {
        EXPECT_EQ(stomp::heartBeatFromText(text), expected) << text;
    }
    for (const char* text : {"", ",", "1", "1,", ",1", "1,2,3", "1, 2", " 1,2", "-1,2", "1.5,2",
             "a,b", "1,2s", "+1,2"}) {
        EXPECT_EQ(stomp::heartBeatFromText(text), std::nullopt) << text;
    }
    EXPECT_EQ(stomp::heartBeatText({milliseconds(5), seconds(20)}), "5,20000");
}

TEST_F(StompHeartBeatTest, EachDirectionIsAgreedByItself) {
    const stomp::HeartBeat ours{seconds(10), seconds(20)};
    const std::pair<stomp::HeartBeat, stomp::HeartBeatAgreement> cases[] = {
        {{}, {}},
        {{seconds(1), seconds(0)}, {seconds(0), seconds(20)}},
        {{seconds(0), seconds(1)}, {seconds(10), seconds(0)}},
        {{seconds(30), seconds(40)}, {seconds(40), seconds(30)}},
    };
    for (const auto& [theirs, expected] : cases) {
        EXPECT_EQ(stomp::agreed(ours, theirs), expected);
    }
    EXPECT_EQ(stomp::agreed({}, {seconds(1), seconds(1)}), stomp::HeartBeatAgreement());
}

TEST_F(StompHeartBeatTest, ConnectedFrameIsWaitedForAMinute) {
    m_client = makeClient();
    EXPECT_EQ(server().timers, WebSocketTimers());
    open();
    EXPECT_EQ(server().timers, WebSocketTimers({.deadline = seconds(60)}));
    receive(connectedText());
    EXPECT_EQ(server().timers, WebSocketTimers());
}

TEST_F(StompHeartBeatTest, BeatsAreSentEarlyAndSilenceIsBorneForLong) {
    EXPECT_EQ(timersAfter("CONNECTED\nversion:1.2\nheart-beat:10000,10000"),
        WebSocketTimers({.beat = "\n", .beatInterval = seconds(8), .silenceLimit = seconds(25)}));
    EXPECT_EQ(timersAfter("CONNECTED\nversion:1.1\nheart-beat:1,60000"),
        WebSocketTimers({.beat = "\n", .beatInterval = seconds(48), .silenceLimit = seconds(25)}));
    EXPECT_EQ(timersAfter("CONNECTED\nversion:1.2\nheart-beat:40000,0"),
        WebSocketTimers({.beat = "\n", .silenceLimit = seconds(100)}));
    EXPECT_EQ(timersAfter("CONNECTED\nversion:1.2\nheart-beat:0,5"),
        WebSocketTimers({.beat = "\n", .beatInterval = seconds(8)}));
}

TEST_F(StompHeartBeatTest, WithoutAnOfferOrInTheFirstVersionThereAreNone) {
    for (const char* connected :
        {"CONNECTED\nversion:1.2", "CONNECTED\nversion:1.0\nheart-beat:10000,10000",
            "CONNECTED\nheart-beat:10000,10000"}) {
        EXPECT_EQ(timersAfter(connected), WebSocketTimers()) << connected;
    }
}

TEST_F(StompHeartBeatTest, OfferThatIsNotUnderstoodIsLoggedAndTheSessionGoesOn) {
    m_client = makeClient();
    open();
    forget();
    receive(frameText("CONNECTED\nversion:1.2\nheart-beat:often"));
    EXPECT_THAT(happened(),
        ElementsAre(
            "log: No heart-beats, for the server's offer is not understood: often", "did connect"));
    EXPECT_EQ(server().timers, WebSocketTimers());
}
