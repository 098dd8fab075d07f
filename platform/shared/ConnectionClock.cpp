// SPDX-License-Identifier: MIT
#include "platform/shared/ConnectionClock.h"

#include <algorithm>

namespace platform {

namespace {

constexpr std::chrono::milliseconds zero{};
constexpr std::chrono::seconds idle{3600};

bool isSet(std::chrono::milliseconds duration) {
    return duration > zero;
}

} // namespace

ConnectionClock::ConnectionClock(Time now)
    : m_received(now)
    , m_sent(now)
    , m_deadline(now) {
}

void ConnectionClock::setTimers(const WebSocketTimers& timers, Time now) {
    m_timers = timers;
    m_received = now;
    m_sent = now;
    m_deadline = now + timers.deadline;
}

void ConnectionClock::received(Time now) {
    m_received = now;
}

void ConnectionClock::sent(Time now) {
    m_sent = now;
}

ConnectionClock::Due ConnectionClock::due(const State& state, Time now) {
    if (state.writes) {
        m_sent = now; // a message on its way is a sign of life as well
    }
    if (isSet(m_timers.silenceLimit) && state.reads && now >= m_received + m_timers.silenceLimit) {
        return Due::lostBySilence;
    }
    if (isSet(m_timers.deadline) && now >= m_deadline && !state.hasUnreadData) {
        return Due::lostByDeadline;
    }
    if (isSet(m_timers.beatInterval) && now >= m_sent + m_timers.beatInterval) {
        return Due::beat;
    }
    return Due::nothing;
}

ConnectionClock::Time ConnectionClock::next(const State& state, Time now) const {
    Time time = now + idle;
    const auto until = [&](bool isKnown, Time due, Duration limit) {
        if (isSet(limit)) {
            time = std::min(time, isKnown && due > now ? due : now + limit / looksPerLimit);
        }
    };
    until(state.reads, m_received + m_timers.silenceLimit, m_timers.silenceLimit);
    until(true, m_deadline, m_timers.deadline);
    until(!state.writes, m_sent + m_timers.beatInterval, m_timers.beatInterval);
    return time;
}

} // namespace platform
