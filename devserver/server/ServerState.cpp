// SPDX-License-Identifier: MIT
#include "devserver/server/ServerState.h"

#include "devserver/server/RequestTarget.h"

#include <algorithm>
#include <cctype>

#include <boost/json/serialize.hpp>

namespace devserver {

namespace {

constexpr std::size_t mostRequests = 1000; // that are remembered

bool equalInAnyCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x))
            == std::tolower(static_cast<unsigned char>(y));
    });
}

/// The endpoint that a target names, under any prefix.
std::optional<Endpoint> endpointOf(const RequestTarget& target) {
    if (target.queryValue("os") != "macos") {
        return std::nullopt;
    }
    if (target.path.ends_with("/update/version")) {
        return Endpoint::version;
    }
    if (target.path.ends_with("/update/bundle") && target.queryValue("version")) {
        return Endpoint::bundle;
    }
    return std::nullopt;
}

HttpAnswer valueAnswer(std::string_view value) {
    boost::json::object body;
    body["value"] = value;
    return {200, boost::json::serialize(body)};
}

} // namespace

HttpAnswer errorAnswer(unsigned status, std::string_view message) {
    boost::json::object body;
    body["status"] = status;
    body["message"] = message;
    return {status, boost::json::serialize(body)};
}

const std::string* RecordedRequest::header(std::string_view name) const {
    const auto found = std::find_if(headers.begin(), headers.end(),
        [&](const auto& header) { return equalInAnyCase(header.first, name); });
    return found == headers.end() ? nullptr : &found->second;
}

void ServerState::record(RecordedRequest request) {
    const std::lock_guard lock(m_mutex);
    m_requests.push_back(std::move(request));
    if (m_requests.size() > mostRequests) {
        m_requests.pop_front();
    }
}

std::vector<RecordedRequest> ServerState::requests() const {
    const std::lock_guard lock(m_mutex);
    return {m_requests.begin(), m_requests.end()};
}

WebAnswer ServerState::answerTo(const RecordedRequest& request, std::string body) const {
    const std::optional<Endpoint> endpoint = endpointOf(RequestTarget::of(request.target));
    if (!endpoint) {
        const std::shared_ptr<WebHandler> handler = webHandler();
        return handler ? handler->answer(request, std::move(body)) : errorAnswer(404, "Not found");
    }
    if (request.method != "GET") {
        return errorAnswer(405, "Method not allowed");
    }
    const std::lock_guard lock(m_mutex);
    if (const auto scripted = m_answers.find(*endpoint); scripted != m_answers.end()) {
        return scripted->second;
    }
    return valueAnswer(
        *endpoint == Endpoint::version ? m_options.latestVersion : m_options.downloadUrl);
}

void ServerState::setAnswer(Endpoint endpoint, std::optional<HttpAnswer> answer) {
    const std::lock_guard lock(m_mutex);
    if (answer) {
        m_answers[endpoint] = std::move(*answer);
    } else {
        m_answers.erase(endpoint);
    }
}

void ServerState::setWebSocketRefusal(std::optional<HttpAnswer> answer) {
    const std::lock_guard lock(m_mutex);
    m_webSocketRefusal = std::move(answer);
}

std::optional<HttpAnswer> ServerState::webSocketRefusal() const {
    const std::lock_guard lock(m_mutex);
    return m_webSocketRefusal;
}

void ServerState::setWebHandler(std::shared_ptr<WebHandler> handler) {
    const std::lock_guard lock(m_mutex);
    m_webHandler = std::move(handler);
}

std::shared_ptr<WebHandler> ServerState::webHandler() const {
    const std::lock_guard lock(m_mutex);
    return m_webHandler;
}

void ServerState::announce(std::shared_ptr<AgentSession> session) {
    const std::lock_guard lock(m_mutex);
    m_waitingAgents.push_back(std::move(session));
    m_changed.notify_all();
}

std::shared_ptr<AgentSession> ServerState::waitForAgent(
    const std::optional<std::string>& room, std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    auto found = m_waitingAgents.end();
    m_changed.wait_for(lock, timeout, [&] {
        found = std::find_if(m_waitingAgents.begin(), m_waitingAgents.end(),
            [&](const auto& session) { return !room || session->room() == *room; });
        return m_ended || found != m_waitingAgents.end();
    });
    if (found == m_waitingAgents.end()) {
        return nullptr;
    }
    std::shared_ptr<AgentSession> session = std::move(*found);
    m_waitingAgents.erase(found);
    return session;
}

void ServerState::endWaiting() {
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
}

} // namespace devserver
