// SPDX-License-Identifier: MIT
#include "devserver/session/OneAgent.h"

namespace devserver {

std::optional<Refusal> OneAgent::admit(const std::shared_ptr<AgentSession>& agent) {
    const std::lock_guard lock(m_mutex);
    if (agent->room() != m_room) {
        m_out << "An agent asked for the room \"" << shownText(agent->room()) << "\" instead of \""
              << m_room << "\" and was turned away.\n"
              << std::flush;
        return Refusal::unknownRoom(agent->room());
    }
    if (m_agent && !m_agent->waitForClose(graceOfJoin)) {
        m_out << "A second agent asked for the room and was turned away.\n" << std::flush;
        return Refusal::occupiedRoom();
    }
    m_agent = agent;
    m_changed.notify_all();
    return std::nullopt;
}

std::shared_ptr<AgentSession> OneAgent::wait(
    const std::shared_ptr<AgentSession>& before, std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return m_agent != before; });
    return m_agent == before ? nullptr : m_agent;
}

} // namespace devserver
