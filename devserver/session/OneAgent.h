// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/session/Doorkeeper.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>

namespace devserver {

/// The one agent that is in the one room of a server. One that was given the link once more takes
/// the place of the one that leaves. Used from the door's thread and the program's.
class OneAgent {
public:
    /// Writes to `out` who was turned away.
    OneAgent(std::string room, std::ostream& out)
        : m_room(std::move(room))
        , m_out(out) { }

    std::optional<Refusal> admit(const std::shared_ptr<AgentSession>& agent);

    /// The agent that comes after `before` (null: the first); null when the time is over.
    std::shared_ptr<AgentSession> wait(
        const std::shared_ptr<AgentSession>& before, std::chrono::milliseconds timeout);

private:
    const std::string m_room;
    std::ostream& m_out;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<AgentSession> m_agent;
};

} // namespace devserver
