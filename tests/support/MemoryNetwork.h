// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Network.h"
#include "tests/support/Trace.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The server's side of a WebSocket that the program opened. Events reach the program when the
/// main thread runs next.
class MemoryWebSocket : public platform::WebSocket {
public:
    using Post = std::function<void(std::function<void()>)>;

    MemoryWebSocket(Trace& trace, platform::WebSocketRequest request,
        std::weak_ptr<platform::WebSocketDelegate> delegate, Post post);

    void send(std::vector<SharedText> pieces) override;
    void setTimers(platform::WebSocketTimers timers) override;
    void close() override;

    void open(const std::string& subprotocol = {});
    void receive(std::string data);
    void lose(const std::string& reason);

    platform::WebSocketRequest request;
    std::vector<std::string> sent; // one text a message
    platform::WebSocketTimers timers;
    bool closed = false; // by the program

private:
    void deliver(std::function<void(platform::WebSocketDelegate&)> event);

    Trace& m_trace;
    std::weak_ptr<platform::WebSocketDelegate> m_delegate;
    Post m_post;
};

/// What a data task is answered with.
struct ScriptedAnswer {
    std::optional<std::string> data;
    std::optional<platform::URLResponse> response;
    std::optional<platform::TransportError> error;
};

class MemoryNetwork : public platform::Network {
public:
    MemoryNetwork(
        Trace& trace, std::deque<std::function<void()>>& otherQueues, MemoryWebSocket::Post post);

    std::unique_ptr<platform::URLSessionDataTask> dataTaskWithURL(
        const std::string& url, platform::DataTaskCompletion completion) override;
    std::shared_ptr<platform::WebSocket> openWebSocket(const platform::WebSocketRequest& request,
        std::weak_ptr<platform::WebSocketDelegate> delegate) override;
    void flush(std::chrono::milliseconds limit) override;

    /// Answers a request with a body and status 200.
    void answer(const std::string& url, const std::string& body);

    std::map<std::string, ScriptedAnswer> answers; // by URL; others fail
    std::vector<std::string> requestedUrls;
    std::vector<std::shared_ptr<MemoryWebSocket>> webSockets;

private:
    Trace& m_trace;
    std::deque<std::function<void()>>& m_otherQueues;
    MemoryWebSocket::Post m_post;
};
