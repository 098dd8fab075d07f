// SPDX-License-Identifier: MIT
// Heart-beats with their real intervals: these tests take as long as an agent is silent or patient.
#include "tests/e2e/SessionTest.h"

using testing::Contains;
using testing::EndsWith;

class ServerThatWantsBeats : public SessionTest {
protected:
    ServerThatWantsBeats()
        : SessionTest({.heartBeat = "0,10000"}) { }
};

TEST_F(ServerThatWantsBeats, GetsThemWhileAnAlertIsShown) {
    startSession();
    const stomp::Frame connect = session->connectFrame();
    ASSERT_NE(connect.headers.find("heart-beat"), nullptr);
    EXPECT_EQ(*connect.headers.find("heart-beat"), "10000,10000");
    session->sendEnvelope("no envelope");
    ASSERT_TRUE(agent->waitForOutput("Press Enter to continue.")) << agent->output();
    EXPECT_TRUE(session->waitForBeats(2, limit));
    expectEnd({1, 0});
}

class ServerThatPromisesBeats : public SessionTest {
protected:
    ServerThatPromisesBeats()
        : SessionTest({.heartBeat = "10000,0"}) { }
};

TEST_F(ServerThatPromisesBeats, IsLostWhenItSendsNothing) {
    startSession();
    const auto ended = agent->waitForEnd();
    ASSERT_TRUE(ended.has_value());
    EXPECT_EQ(*ended, ProcessEnd({0, 0}));
    EXPECT_THAT(
        agent->log(), Contains(EndsWith(" lost: localhost has been silent for 25 seconds")));
    EXPECT_EQ(agent->log().back(), "STOMP client disconnected from server");
}
