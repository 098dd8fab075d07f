// SPDX-License-Identifier: MIT
#include "platform/shared/MessageConnection.h"

#include <algorithm>
#include <utility>

namespace platform {

namespace {

/// What has come and the program has not taken may cost so much until nothing more is received.
constexpr std::size_t untakenLimit = std::size_t{1} << 20;
constexpr std::size_t costOfMessage = 256; // beside its bytes
/// So many bytes wait to be sent until nothing more is received.
constexpr std::size_t unsentLimit = std::size_t{512} << 20;
constexpr std::chrono::seconds openingLimit{60};
constexpr std::chrono::seconds closingLimit{2}; // once all has been sent

} // namespace

MessageConnection::MessageConnection(
    Application& application, WorkQueue& queue, std::weak_ptr<WebSocketDelegate> delegate)
    : m_application(application)
    , m_queue(queue)
    , m_delegate(std::move(delegate))
    , m_clock(queue.now()) {
}

void MessageConnection::start(std::unique_ptr<MessageTask> task, Ended ended) {
    m_task = std::move(task);
    m_ended = std::move(ended);
    m_queue.post([self = shared_from_this()] {
        self->startTimers({.deadline = openingLimit});
        self->m_task->resume();
    });
}

void MessageConnection::taskDidOpen(const std::string& subprotocol) {
    m_queue.post([self = shared_from_this(), subprotocol] { self->didOpen(subprotocol); });
}

void MessageConnection::didOpen(const std::string& subprotocol) {
    if (m_hasEnded || m_isCancelled) {
        return;
    }
    m_isOpen = true;
    startTimers(m_timers);
    m_application.performOnMainThread([self = shared_from_this(), subprotocol] {
        self->tell([&](auto& delegate) { delegate.webSocketDidOpen(subprotocol); });
    });
    receive();
}

/// Asks for the next message at once, for the platform drops what nobody has asked for when the
/// server closes; but not while too much waits to be taken or sent. Who has been muted takes
/// nothing.
void MessageConnection::receive() {
    const bool isFull = m_untaken >= untakenLimit && !m_muted;
    if (!m_isOpen || m_hasEnded || m_isReceiving || isFull || m_unsentBytes >= unsentLimit) {
        return;
    }
    m_isReceiving = true;
    m_clock.received(m_queue.now()); // or what was not asked for could not come
    m_task->receive([self = shared_from_this(), request = ++m_requests](
                        std::optional<std::string> message, std::optional<std::string> error) {
        self->m_queue.post(
            [self, request, message = std::move(message), error = std::move(error)]() mutable {
                self->didReceive(request, std::move(message), error);
            });
    });
}

void MessageConnection::didReceive(std::uint64_t request, std::optional<std::string> message,
    const std::optional<std::string>& error) {
    if (m_hasEnded || !m_isReceiving || request != m_requests) {
        return;
    }
    m_isReceiving = false;
    if (!message) {
        failed(error);
        return;
    }
    if (!m_muted) {
        deliver(*std::move(message));
    }
    receive(); // also when muted, lest a server that is not read from reads nothing itself
}

void MessageConnection::deliver(std::string data) {
    const std::size_t cost = data.size() + costOfMessage;
    m_untaken += cost;
    m_application.performOnMainThread(
        [self = shared_from_this(), cost, data = std::move(data)]() mutable {
            self->tell([&](auto& delegate) { delegate.webSocketDidReceiveData(std::move(data)); });
            self->m_queue.post([self, cost] {
                self->m_untaken -= cost;
                self->m_clock.received(self->m_queue.now()); // the program's delay is no silence
                self->receive();
            });
        });
}

void MessageConnection::send(std::string text) {
    m_queue.post([self = shared_from_this(), text = std::move(text)]() mutable {
        if (!self->m_isClosing) {
            self->sendNow(std::move(text));
        }
    });
}

void MessageConnection::sendNow(std::string text) {
    if (m_hasEnded) {
        return;
    }
    const std::size_t size = text.size();
    ++m_unsentMessages;
    m_unsentBytes += size;
    const auto isFirstCall = std::make_shared<bool>(true); // known on the queue alone
    m_task->send(std::move(text),
        [self = shared_from_this(), size, isFirstCall](std::optional<std::string> error) {
            self->m_queue.post([self, size, isFirstCall, error = std::move(error)] {
                if (std::exchange(*isFirstCall, false)) {
                    self->didSend(size, error);
                }
            });
        });
}

void MessageConnection::didSend(std::size_t size, const std::optional<std::string>& error) {
    --m_unsentMessages;
    m_unsentBytes -= size;
    m_clock.sent(m_queue.now());
    if (error) {
        failed(error);
    }
    closeWhenSent();
    receive();
}

void MessageConnection::close() {
    m_queue.post([self = shared_from_this()] {
        self->m_isClosing = true;
        self->closeWhenSent();
        self->receive();
    });
}

void MessageConnection::closeWhenSent() {
    if (m_isClosing && !m_isCancelled && !m_hasEnded && m_unsentMessages == 0) {
        m_isCancelled = true;
        m_task->cancel();
        startTimers({.deadline = closingLimit});
    }
}

void MessageConnection::setTimers(WebSocketTimers timers) {
    m_queue.post([self = shared_from_this(), timers = std::move(timers)] {
        self->m_timers = timers;
        if (self->m_isOpen && !self->m_isClosing) {
            self->startTimers(timers);
        }
    });
}

void MessageConnection::startTimers(const WebSocketTimers& timers) {
    m_clock.setTimers(timers, m_queue.now());
    m_receivedBytes = m_task->countOfBytesReceived();
    watchLater();
}

/// Does what is due by the clock, and looks at it again when something may be due next.
void MessageConnection::watch() {
    const auto now = m_queue.now();
    const std::int64_t bytes = m_task->countOfBytesReceived();
    if (std::exchange(m_receivedBytes, bytes) != bytes) {
        m_clock.received(now); // a large message is on its way
    }
    switch (m_clock.due(state(), now)) {
    case ConnectionClock::Due::nothing:
        break;
    case ConnectionClock::Due::beat:
        sendNow(m_clock.timers().beat);
        break;
    case ConnectionClock::Due::lostBySilence:
        end("the server has been silent for too long");
        return;
    case ConnectionClock::Due::lostByDeadline:
        end("the server did not answer in time");
        return;
    }
    watchLater();
}

/// Replaces the watch that was planned before.
void MessageConnection::watchLater() {
    const auto now = m_queue.now();
    auto next = m_clock.next(state(), now);
    const auto silenceLimit = m_clock.timers().silenceLimit;
    if (silenceLimit > silenceLimit.zero()) {
        next = std::min(next, now + silenceLimit / ConnectionClock::looksPerLimit);
    }
    m_queue.postAfter(next - now, [weak = weak_from_this(), watch = ++m_watches] {
        const auto self = weak.lock();
        if (self && !self->m_hasEnded && self->m_watches == watch) {
            self->watch();
        }
    });
}

ConnectionClock::State MessageConnection::state() const {
    // Where the platform does not count, a large message could not be told from silence. What
    // nobody takes any more while the connection closes does not keep it open either.
    return {.reads = m_isReceiving && m_untaken == 0 && m_receivedBytes > 0,
        .writes = m_unsentMessages > 0,
        .hasUnreadData = m_untaken > 0 && !m_isClosing};
}

/// While the connection is closing the task itself tells when it is done.
void MessageConnection::failed(const std::optional<std::string>& error) {
    if (!m_isClosing) {
        end(error);
    }
}

void MessageConnection::taskDidEnd(const std::optional<std::string>& error) {
    m_queue.post([self = shared_from_this(), error] { self->end(error); });
}

void MessageConnection::end(const std::optional<std::string>& error) {
    if (m_hasEnded) {
        return;
    }
    m_hasEnded = true;
    m_task->invalidate();
    const std::string reason = error.value_or("the connection was closed");
    m_application.performOnMainThread([self = shared_from_this(), reason] {
        self->tell([&](auto& delegate) { delegate.webSocketDidClose(reason); });
    });
    m_ended();
}

/// On the main thread.
void MessageConnection::tell(const Event& event) {
    const auto delegate = m_delegate.lock();
    if (delegate && !m_muted) {
        event(*delegate);
    }
}

} // namespace platform
