// SPDX-License-Identifier: MIT
#include "tests/support/MemoryNetwork.h"

using namespace platform;

namespace {

class ScriptedTask : public URLSessionDataTask {
public:
    explicit ScriptedTask(std::function<void()> start)
        : m_start(std::move(start)) { }
    void resume() override { m_start(); }

private:
    std::function<void()> m_start;
};

} // namespace

MemoryWebSocket::MemoryWebSocket(Trace& trace, WebSocketRequest webSocketRequest,
    std::weak_ptr<WebSocketDelegate> delegate, Post post)
    : request(std::move(webSocketRequest))
    , m_trace(trace)
    , m_delegate(std::move(delegate))
    , m_post(std::move(post)) {
}

void MemoryWebSocket::send(std::vector<SharedText> pieces) {
    std::string message;
    for (const SharedText& piece : pieces) {
        message += piece.view();
    }
    m_trace.add("sent: " + message);
    sent.push_back(std::move(message));
}

void MemoryWebSocket::setTimers(WebSocketTimers webSocketTimers) {
    timers = std::move(webSocketTimers);
}

void MemoryWebSocket::close() {
    closed = true;
}

void MemoryWebSocket::open(const std::string& subprotocol) {
    deliver([subprotocol](WebSocketDelegate& delegate) { delegate.webSocketDidOpen(subprotocol); });
}

void MemoryWebSocket::receive(std::string data) {
    deliver([data = std::move(data)](
                WebSocketDelegate& delegate) { delegate.webSocketDidReceiveData(data); });
}

void MemoryWebSocket::lose(const std::string& reason) {
    deliver([reason](WebSocketDelegate& delegate) { delegate.webSocketDidClose(reason); });
}

void MemoryWebSocket::deliver(std::function<void(WebSocketDelegate&)> event) {
    m_post([weak = m_delegate, event = std::move(event)] {
        if (const auto delegate = weak.lock()) {
            event(*delegate);
        }
    });
}

MemoryNetwork::MemoryNetwork(
    Trace& trace, std::deque<std::function<void()>>& otherQueues, MemoryWebSocket::Post post)
    : m_trace(trace)
    , m_otherQueues(otherQueues)
    , m_post(std::move(post)) {
}

std::unique_ptr<URLSessionDataTask> MemoryNetwork::dataTaskWithURL(
    const std::string& url, DataTaskCompletion completion) {
    return std::make_unique<ScriptedTask>([this, url, completion = std::move(completion)] {
        m_trace.add("request: " + url);
        requestedUrls.push_back(url);
        const auto found = answers.find(url);
        const ScriptedAnswer scripted = found != answers.end()
            ? found->second
            : ScriptedAnswer{std::nullopt, std::nullopt, TransportError{"no answer for " + url}};
        m_otherQueues.push_back([completion, scripted] {
            completion(scripted.data, scripted.response, scripted.error);
        });
    });
}

std::shared_ptr<WebSocket> MemoryNetwork::openWebSocket(
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) {
    m_trace.add("connect: " + request.host + ":" + std::to_string(request.port) + request.target);
    webSockets.push_back(
        std::make_shared<MemoryWebSocket>(m_trace, request, std::move(delegate), m_post));
    return webSockets.back();
}

void MemoryNetwork::flush(std::chrono::milliseconds) {
}

void MemoryNetwork::answer(const std::string& url, const std::string& body) {
    answers[url] = {body, URLResponse{url, 200}, std::nullopt};
}
