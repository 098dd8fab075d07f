// SPDX-License-Identifier: MIT
#include "platform/shared/ConnectionClock.h"

#include <gtest/gtest.h>

using platform::ConnectionClock;
using platform::WebSocketTimers;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Due = ConnectionClock::Due;
using State = ConnectionClock::State;

namespace {

constexpr State listening{.reads = true};

class ConnectionClockTest : public testing::Test {
protected:
    void set(WebSocketTimers timers) {
        timers.beat = "\n";
        m_clock.setTimers(timers, m_now);
    }
    /// Goes on by the time to which the clock wants to be asked again, for `duration` in all, and
    /// returns when it first said `expected`; -1 when it never did.
    milliseconds whenDue(Due expected, const State& state, milliseconds duration) {
        const auto start = m_now;
        while (m_now <= start + duration) {
            const Due due = m_clock.due(state, m_now);
            if (due == expected) {
                return std::chrono::duration_cast<milliseconds>(m_now - start);
            }
            EXPECT_EQ(due, Due::nothing);
            const auto next = m_clock.next(state, m_now);
            EXPECT_GT(next, m_now);
            m_now = next;
        }
        m_now = start + duration;
        return milliseconds(-1);
    }

    ConnectionClock::Time m_now{std::chrono::hours(1)};
    ConnectionClock m_clock{m_now};
};

} // namespace

TEST_F(ConnectionClockTest, WithoutTimersNothingIsEverDue) {
    EXPECT_EQ(whenDue(Due::beat, listening, std::chrono::hours(48)), milliseconds(-1));
}

TEST_F(ConnectionClockTest, BeatIsDueWhenNothingWasSentForItsInterval) {
    set({.beatInterval = seconds(8)});
    EXPECT_EQ(whenDue(Due::beat, listening, seconds(30)), seconds(8));
    m_clock.sent(m_now);
    EXPECT_EQ(whenDue(Due::beat, listening, seconds(30)), seconds(8));
    m_clock.sent(m_now);
    m_now += seconds(5);
    m_clock.sent(m_now);
    EXPECT_EQ(whenDue(Due::beat, listening, seconds(30)), seconds(8));
}

TEST_F(ConnectionClockTest, NoBeatIsDueInsideAMessage) {
    set({.beatInterval = seconds(8)});
    const State state{.reads = true, .writes = true};
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(m_clock.due(state, m_now), Due::nothing);
        m_now += seconds(1);
    }
    m_clock.sent(m_now);
    EXPECT_EQ(whenDue(Due::beat, listening, seconds(30)), seconds(8));
}

TEST_F(ConnectionClockTest, SilenceCountsFromTheLastByte) {
    set({.silenceLimit = seconds(25)});
    m_now += seconds(20);
    m_clock.received(m_now);
    EXPECT_EQ(whenDue(Due::lostBySilence, listening, seconds(60)), seconds(25));
}

TEST_F(ConnectionClockTest, SilenceDoesNotCountWhileNobodyListens) {
    set({.silenceLimit = seconds(25)});
    EXPECT_EQ(whenDue(Due::lostBySilence, {}, std::chrono::hours(1)), milliseconds(-1));
    m_clock.received(m_now); // listening begins
    EXPECT_EQ(whenDue(Due::lostBySilence, listening, seconds(60)), seconds(25));
}

TEST_F(ConnectionClockTest, DeadlineIsKeptWhateverComesIn) {
    set({.deadline = seconds(60)});
    m_now += seconds(59);
    m_clock.received(m_now);
    m_clock.sent(m_now);
    EXPECT_EQ(whenDue(Due::lostByDeadline, listening, seconds(60)), seconds(1));
}

TEST_F(ConnectionClockTest, DeadlineWaitsForWhatTheMainThreadHasNotSeen) {
    set({.deadline = seconds(60)});
    const State unread{.reads = true, .hasUnreadData = true};
    EXPECT_EQ(whenDue(Due::lostByDeadline, unread, std::chrono::hours(1)), milliseconds(-1));
    EXPECT_EQ(whenDue(Due::lostByDeadline, listening, seconds(60)), milliseconds(0));
}

TEST_F(ConnectionClockTest, TimersSetAnewReplaceTheOldOnes) {
    set({.silenceLimit = seconds(25), .deadline = seconds(60)});
    m_now += seconds(24);
    set({.silenceLimit = seconds(30)});
    EXPECT_EQ(whenDue(Due::lostBySilence, listening, seconds(100)), seconds(30));
    set({});
    EXPECT_EQ(whenDue(Due::lostBySilence, listening, std::chrono::hours(3)), milliseconds(-1));
}
