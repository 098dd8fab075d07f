// SPDX-License-Identifier: MIT
// When an open connection has to send a beat, and when it counts as dead.
#pragma once

#include "platform/Network.h"

#include <chrono>

namespace platform {

/// The times alone, without timer or socket: whoever holds it asks what is due, and when to ask
/// again.
class ConnectionClock {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::milliseconds;
    enum class Due { nothing, beat, lostBySilence, lostByDeadline };
    /// How often within a limit it is looked at what can only be seen by looking.
    static constexpr int looksPerLimit = 10;

    explicit ConnectionClock(Time now);

    /// Replaces the timers, which count from now.
    void setTimers(const WebSocketTimers& timers, Time now);
    const WebSocketTimers& timers() const { return m_timers; }
    void received(Time now);
    void sent(Time now);

    /// What the connection is doing at the moment when it asks.
    struct State {
        bool reads = false; // silence counts only while somebody listens
        bool writes = false;
        bool hasUnreadData = false; // the answer may be there, but the main thread is busy
    };
    Due due(const State& state, Time now);
    /// When to ask next, at the latest.
    Time next(const State& state, Time now) const;

private:
    WebSocketTimers m_timers;
    Time m_received;
    Time m_sent;
    Time m_deadline;
};

} // namespace platform
