// SPDX-License-Identifier: MIT
#include "platform/linux/net/SocketChannel.h"

#include "platform/linux/net/WebSocketSession.h"

namespace platform::linux_ {

namespace {

// Small pieces that wait for the main thread are joined, so that a server's many heart-beats do not
// pile up while an alert is open. Larger ones are passed on without being copied.
constexpr std::size_t smallPiece = std::size_t{4} << 10;
constexpr std::size_t joinedSize = std::size_t{256} << 10;

std::size_t sizeOf(const MessagePieces& message) {
    std::size_t size = 0;
    for (const SharedText& piece : message) {
        size += piece.size();
    }
    return size;
}

/// What the user of a WebSocket holds.
class ChannelWebSocket : public WebSocket {
public:
    explicit ChannelWebSocket(std::shared_ptr<SocketChannel> channel)
        : m_channel(std::move(channel)) { }
    ~ChannelWebSocket() override { m_channel->abandon(); }

    void send(std::vector<SharedText> pieces) override { m_channel->send(std::move(pieces)); }
    void setTimers(WebSocketTimers timers) override { m_channel->setTimers(std::move(timers)); }
    void close() override { m_channel->close(); }

private:
    const std::shared_ptr<SocketChannel> m_channel;
};

} // namespace

SocketChannel::SocketChannel(Application& application, std::weak_ptr<WebSocketDelegate> delegate,
    std::shared_ptr<IoGate> gate, std::shared_ptr<const std::atomic<bool>> silenced,
    std::size_t unsentLimit)
    : m_application(application)
    , m_delegate(std::move(delegate))
    , m_gate(std::move(gate))
    , m_silenced(std::move(silenced))
    , m_unsentLimit(unsentLimit) {
}

void SocketChannel::send(MessagePieces message) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_ended || m_closeRequested) {
            return;
        }
        m_unsentBytes += sizeOf(message);
        m_messages.push_back(std::move(message));
    }
    wakeSession();
}

void SocketChannel::setTimers(WebSocketTimers timers) {
    {
        const std::lock_guard lock(m_mutex);
        m_timers = std::move(timers);
    }
    wakeSession();
}

void SocketChannel::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_closeRequested = true;
    }
    wakeSession();
}

void SocketChannel::abandon() {
    std::deque<Waiting> dropped;
    {
        const std::lock_guard lock(m_mutex);
        m_abandoned = true;
        dropped.swap(m_waiting);
        m_waitingBytes = 0;
    }
    wakeSession();
}

void SocketChannel::setSession(std::weak_ptr<WebSocketSession> session) {
    const std::lock_guard lock(m_mutex);
    m_session = std::move(session);
}

std::optional<MessagePieces> SocketChannel::takeMessage() {
    const std::lock_guard lock(m_mutex);
    if (m_messages.empty()) {
        return std::nullopt;
    }
    MessagePieces message = std::move(m_messages.front());
    m_messages.pop_front();
    m_unsentBytes -= sizeOf(message);
    return message;
}

bool SocketChannel::hasMessages() {
    const std::lock_guard lock(m_mutex);
    return !m_messages.empty();
}

std::optional<WebSocketTimers> SocketChannel::takeTimers() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_timers, std::nullopt);
}

bool SocketChannel::hasWaitingData() {
    const std::lock_guard lock(m_mutex);
    return m_waitingBytes > 0;
}

bool SocketChannel::isEnding() {
    const std::lock_guard lock(m_mutex);
    return m_closeRequested || m_abandoned;
}

bool SocketChannel::wantsData() {
    const std::lock_guard lock(m_mutex);
    return m_waitingBytes < waitingLimit && m_unsentBytes < m_unsentLimit;
}

void SocketChannel::deliverOpen(std::string subprotocol) {
    postEvent([subprotocol = std::move(subprotocol)](
                  WebSocketDelegate& delegate) { delegate.webSocketDidOpen(subprotocol); });
}

void SocketChannel::deliverData(OwnedText data) {
    if (data.empty() || isMuted()) {
        return;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_waitingBytes += data.size();
        if (!m_waiting.empty()) {
            auto& [text, joined] = m_waiting.back();
            if (text.takeOverNext(data)) {
                return;
            }
            if (text.size() <= smallPiece && data.size() <= smallPiece
                && joined.size() + data.size() <= joinedSize) {
                joined += std::exchange(text, {}).view();
                joined += data.view();
                return;
            }
        }
        m_waiting.push_back({std::move(data), {}});
    }
    m_application.performOnMainThread([self = shared_from_this()] { self->dispatchData(); });
}

void SocketChannel::deliverClose(std::string reason) {
    std::deque<MessagePieces> dropped;
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        dropped.swap(m_messages);
    }
    postEvent([reason = std::move(reason)](
                  WebSocketDelegate& delegate) { delegate.webSocketDidClose(reason); });
}

void SocketChannel::wakeSession() {
    std::weak_ptr<WebSocketSession> session;
    {
        const std::lock_guard lock(m_mutex);
        session = m_session;
    }
    // Only the network's thread may hold a session, for there it must be destroyed.
    m_gate->post([session] {
        if (const auto awake = session.lock()) {
            awake->pump();
        }
    });
}

bool SocketChannel::isMuted() {
    const std::lock_guard lock(m_mutex);
    return m_abandoned || *m_silenced;
}

void SocketChannel::postEvent(Event event) {
    if (!isMuted()) {
        m_application.performOnMainThread(
            [self = shared_from_this(), event = std::move(event)] { self->dispatch(event); });
    }
}

void SocketChannel::dispatchData() {
    OwnedText data;
    bool wasFull = false;
    {
        const std::lock_guard lock(m_mutex);
        if (m_waiting.empty()) {
            return;
        }
        wasFull = m_waitingBytes >= waitingLimit;
        auto& [text, joined] = m_waiting.front();
        data = joined.empty() ? std::move(text) : OwnedText(std::move(joined));
        m_waiting.pop_front();
        m_waitingBytes -= data.size();
    }
    if (wasFull) {
        wakeSession();
    }
    dispatch([&data](WebSocketDelegate& delegate) {
        delegate.webSocketDidReceiveData(std::move(data));
    });
}

void SocketChannel::dispatch(const Event& event) {
    if (isMuted()) {
        return;
    }
    if (const auto delegate = m_delegate.lock()) {
        event(*delegate);
    }
}

std::shared_ptr<WebSocket> makeWebSocket(std::shared_ptr<SocketChannel> channel) {
    return std::make_shared<ChannelWebSocket>(std::move(channel));
}

} // namespace platform::linux_
