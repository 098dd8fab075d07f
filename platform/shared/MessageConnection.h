// SPDX-License-Identifier: MIT
// The connection behind one WebSocket whose platform sends and receives whole messages.
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"
#include "platform/shared/ConnectionClock.h"
#include "platform/shared/MessageTask.h"
#include "platform/shared/WorkQueue.h"

#include <atomic>

namespace platform {

/// Its state belongs to `queue`, its events go to the main thread of `application`. Both outlive
/// it. All calls may come from any thread.
class MessageConnection : public MessageTaskDelegate,
                          public std::enable_shared_from_this<MessageConnection> {
public:
    using Ended = std::function<void()>;

    MessageConnection(
        Application& application, WorkQueue& queue, std::weak_ptr<WebSocketDelegate> delegate);

    /// Once. `ended` is called on the queue, last. Until then somebody keeps this alive.
    void start(std::unique_ptr<MessageTask> task, Ended ended);
    /// As the methods of `WebSocket`.
    void send(std::string text);
    void setTimers(WebSocketTimers timers);
    void close();
    /// From now on no event begins.
    void mute() { m_muted = true; }

    void taskDidOpen(const std::string& subprotocol) override;
    void taskDidEnd(const std::optional<std::string>& error) override;

private:
    using Event = std::function<void(WebSocketDelegate&)>;

    void didOpen(const std::string& subprotocol);
    void receive();
    void didReceive(std::uint64_t request, std::optional<std::string> message,
        const std::optional<std::string>& error);
    void deliver(std::string data);
    void sendNow(std::string text);
    void didSend(std::size_t size, const std::optional<std::string>& error);
    void closeWhenSent();
    void startTimers(const WebSocketTimers& timers);
    void watch();
    void watchLater();
    ConnectionClock::State state() const;
    void failed(const std::optional<std::string>& error);
    void end(const std::optional<std::string>& error);
    void tell(const Event& event);

    Application& m_application;
    WorkQueue& m_queue;
    const std::weak_ptr<WebSocketDelegate> m_delegate;
    std::atomic<bool> m_muted = false;

    std::unique_ptr<MessageTask> m_task;
    Ended m_ended;
    bool m_isOpen = false;
    bool m_isReceiving = false;
    std::uint64_t m_requests = 0; // for messages; the last is the one that counts
    std::size_t m_untaken = 0; // cost of what the program has not taken yet
    bool m_isClosing = false; // nothing more is sent
    bool m_isCancelled = false; // all that was to be sent has been
    bool m_hasEnded = false;
    std::size_t m_unsentMessages = 0;
    std::size_t m_unsentBytes = 0;

    WebSocketTimers m_timers; // wanted while the connection is open
    ConnectionClock m_clock;
    std::int64_t m_receivedBytes = 0; // when the clock was last looked at
    std::uint64_t m_watches = 0; // the last is the one that counts
};

} // namespace platform
