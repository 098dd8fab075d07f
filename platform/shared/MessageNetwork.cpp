// SPDX-License-Identifier: MIT
#include "platform/shared/MessageNetwork.h"

#include "foundation/PercentEncoding.h"
#include "platform/shared/ComparableHost.h"

#include <condition_variable>
#include <mutex>
#include <set>

namespace platform {

namespace {

/// What the user of a connection holds.
class MessageWebSocket final : public WebSocket {
public:
    explicit MessageWebSocket(std::shared_ptr<MessageConnection> connection)
        : m_connection(std::move(connection)) { }
    ~MessageWebSocket() override {
        m_connection->mute();
        m_connection->close();
    }

    void send(std::vector<SharedText> pieces) override {
        std::size_t size = 0;
        for (const SharedText& piece : pieces) {
            size += piece.size();
        }
        std::string text;
        text.reserve(size);
        for (const SharedText& piece : pieces) {
            text += piece.view();
        }
        m_connection->send(std::move(text));
    }
    void setTimers(WebSocketTimers timers) override { m_connection->setTimers(std::move(timers)); }
    void close() override { m_connection->close(); }

private:
    const std::shared_ptr<MessageConnection> m_connection;
};

/// Stands for a connection that is not allowed.
class RefusedTask final : public MessageTask {
public:
    RefusedTask(std::weak_ptr<MessageTaskDelegate> delegate, std::string words)
        : m_delegate(std::move(delegate))
        , m_words(std::move(words)) { }

    void resume() override {
        if (const auto delegate = m_delegate.lock()) {
            delegate->taskDidEnd(m_words);
        }
    }
    void send(std::string, Sent sent) override { sent(m_words); }
    void receive(Received received) override { received(std::nullopt, m_words); }
    std::int64_t countOfBytesReceived() override { return 0; }
    void cancel() override { resume(); }
    void invalidate() override { }

private:
    const std::weak_ptr<MessageTaskDelegate> m_delegate;
    const std::string m_words;
};

std::string urlOf(const WebSocketRequest& request) {
    return (request.secure ? "wss://" : "ws://") + percentEncodedHost(request.host) + ":"
        + std::to_string(request.port) + request.target;
}

} // namespace

/// Those that have not ended, which are kept alive.
struct MessageNetwork::OpenConnections {
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::shared_ptr<MessageConnection>> connections;
};

MessageNetwork::MessageNetwork(Application& application, WorkQueue& queue)
    : m_application(application)
    , m_queue(queue)
    , m_open(std::make_shared<OpenConnections>()) {
}

std::shared_ptr<WebSocket> MessageNetwork::openWebSocket(
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) {
    const auto connection
        = std::make_shared<MessageConnection>(m_application, m_queue, std::move(delegate));
    const auto words = refusal(request.host, request.port);
    std::unique_ptr<MessageTask> task = words
        ? std::make_unique<RefusedTask>(connection, *words)
        : makeMessageTask(urlOf(request), request.subprotocols, connection);
    {
        const std::lock_guard lock(m_open->mutex);
        m_open->connections.insert(connection);
    }
    connection->start(std::move(task), [open = m_open, weak = std::weak_ptr(connection)] {
        const std::lock_guard lock(open->mutex);
        open->connections.erase(weak.lock());
        open->changed.notify_all();
    });
    return std::make_shared<MessageWebSocket>(connection);
}

void MessageNetwork::setConnectionRule(ConnectionRule rule) {
    const std::lock_guard lock(m_ruleMutex);
    m_rule = std::move(rule);
}

std::optional<std::string> MessageNetwork::refusal(const std::string& host, std::uint64_t port) {
    const std::lock_guard lock(m_ruleMutex);
    if (!m_rule) {
        return std::nullopt;
    }
    return m_rule(asciiHostToConnect(host).value_or(NetworkHost{host, false, host}), port);
}

void MessageNetwork::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_open->mutex);
    for (const auto& connection : m_open->connections) {
        connection->mute();
        connection->close();
    }
    m_open->changed.wait_for(lock, limit, [this] { return m_open->connections.empty(); });
}

} // namespace platform
