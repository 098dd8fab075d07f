// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/server/Server.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace devserver {

/// For the agent that is in a room to leave it, when it was given the room's link once more.
constexpr std::chrono::seconds graceOfJoin{2};

/// What an agent's user reads when it is turned away.
struct Refusal {
    std::string message;
    std::string details;

    static Refusal unknownRoom(const std::string& room);
    static Refusal occupiedRoom();
};

/// Looks at every agent that joins a room of a server, on a thread of its own, until its end, which
/// stops the server.
class Doorkeeper {
public:
    /// Takes the agent, or says why not; then its user is told so and the connection is closed.
    using Admit = std::function<std::optional<Refusal>(const std::shared_ptr<AgentSession>&)>;

    Doorkeeper(Server& server, Admit admit);
    Doorkeeper(const Doorkeeper&) = delete;
    Doorkeeper& operator=(const Doorkeeper&) = delete;
    ~Doorkeeper();

private:
    void run();

    Server& m_server;
    Admit m_admit;
    std::atomic<bool> m_isEnding = false;
    std::thread m_thread; // the last member: it uses all others
};

/// A text of an outsider, made fit for a line: cut after 60 bytes, control characters as "?".
std::string shownText(const std::string& text);

} // namespace devserver
