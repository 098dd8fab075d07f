// SPDX-License-Identifier: MIT
// What the connections of a server and those who script it share. Used from any thread.
#pragma once

#include "devserver/server/AgentSession.h"
#include "devserver/server/ServerOptions.h"
#include "devserver/server/WebHandler.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace devserver {

class ServerState {
public:
    explicit ServerState(ServerOptions options)
        : m_options(std::move(options)) { }

    const ServerOptions& options() const { return m_options; }

    void record(RecordedRequest request);
    /// The latest ones.
    std::vector<RecordedRequest> requests() const;

    /// The answer to any request that opens no WebSocket.
    WebAnswer answerTo(const RecordedRequest& request, std::string body) const;
    /// Answers every request of an endpoint; nothing brings the usual answers back.
    void setAnswer(Endpoint endpoint, std::optional<HttpAnswer> answer);

    /// Answers every WebSocket upgrade instead of accepting it.
    void setWebSocketRefusal(std::optional<HttpAnswer> answer);
    std::optional<HttpAnswer> webSocketRefusal() const;

    /// Who answers what is not for the update check; nobody, and the answer is "Not found".
    void setWebHandler(std::shared_ptr<WebHandler> handler);
    std::shared_ptr<WebHandler> webHandler() const;

    void announce(std::shared_ptr<AgentSession> session);
    /// The next announced session, of `room` or of any. Each is returned once.
    std::shared_ptr<AgentSession> waitForAgent(
        const std::optional<std::string>& room, std::chrono::milliseconds timeout);
    /// Ends all waiting, for good.
    void endWaiting();

private:
    const ServerOptions m_options;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<RecordedRequest> m_requests;
    std::map<Endpoint, HttpAnswer> m_answers;
    std::optional<HttpAnswer> m_webSocketRefusal;
    std::shared_ptr<WebHandler> m_webHandler;
    std::list<std::shared_ptr<AgentSession>> m_waitingAgents;
    bool m_ended = false;
};

} // namespace devserver
