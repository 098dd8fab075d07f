// SPDX-License-Identifier: MIT
#include "devserver/session/Doorkeeper.h"

#include <algorithm>
#include <chrono>

namespace devserver {

namespace {

constexpr std::chrono::hours noLimit{24}; // a wait that the end of the server ends
constexpr std::size_t shownLength = 60;

void turnAway(AgentSession& agent, const Refusal& refusal) {
    agent.sendFrame(
        {"ERROR", {{"message", refusal.message}, {"content-type", "text/plain"}}, refusal.details});
    agent.close();
}

} // namespace

Refusal Refusal::unknownRoom(const std::string& room) {
    return {"Unknown room",
        "The server has no room \"" + shownText(room) + "\". Use the link that it shows now."};
}

Refusal Refusal::occupiedRoom() {
    return {"Room is taken",
        "Another agent is in the room already. End its session first, or use a new link."};
}

Doorkeeper::Doorkeeper(Server& server, Admit admit)
    : m_server(server)
    , m_admit(std::move(admit))
    , m_thread([this] { run(); }) {
}

Doorkeeper::~Doorkeeper() {
    m_isEnding = true;
    m_server.stop();
    m_thread.join();
}

void Doorkeeper::run() {
    while (!m_isEnding) {
        const std::shared_ptr<AgentSession> agent = m_server.waitForAnyAgent(noLimit);
        if (!agent) {
            continue;
        }
        if (const std::optional<Refusal> refusal = m_admit(agent)) {
            turnAway(*agent, *refusal);
        }
    }
}

std::string shownText(const std::string& text) {
    std::size_t end = std::min(text.size(), shownLength);
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end; // not within a UTF-8 sequence
    }
    std::string shown = text.substr(0, end);
    for (char& c : shown) {
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    }
    return shown + (end < text.size() ? "..." : "");
}

} // namespace devserver
