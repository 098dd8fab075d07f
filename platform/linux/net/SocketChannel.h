// SPDX-License-Identifier: MIT
// What a WebSocket's user and its session on the network's thread hand to one another.
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"
#include "platform/linux/net/IoThread.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace platform::linux_ {

class WebSocketSession;

using MessagePieces = std::vector<SharedText>;

/// Outlives its session and the network, for a user may hold it longer than either. Safe on every
/// thread.
class SocketChannel : public std::enable_shared_from_this<SocketChannel> {
public:
    /// So many bytes wait for the main thread until the session stops reading.
    static constexpr std::size_t waitingLimit = std::size_t{1} << 20;

    /// `silenced` is the network's: once true, no event is delivered any more. While `unsentLimit`
    /// bytes wait to be sent the session stops reading: a server that asks and never reads its
    /// answers does not fill the memory.
    SocketChannel(Application& application, std::weak_ptr<WebSocketDelegate> delegate,
        std::shared_ptr<IoGate> gate, std::shared_ptr<const std::atomic<bool>> silenced,
        std::size_t unsentLimit);

    // The user's side.
    void send(MessagePieces message);
    void setTimers(WebSocketTimers timers);
    void close();
    /// The user is gone: no event is delivered any more.
    void abandon();

    // The session's side.
    void setSession(std::weak_ptr<WebSocketSession> session);
    std::optional<MessagePieces> takeMessage();
    bool hasMessages();
    /// The timers, once after each time they were set.
    std::optional<WebSocketTimers> takeTimers();
    /// The connection is to be closed once no message is left.
    bool isEnding();
    bool wantsData();
    /// The main thread has not seen yet all that came in.
    bool hasWaitingData();
    void deliverOpen(std::string subprotocol);
    void deliverData(OwnedText data);
    /// Has the session look at what there is to do, on the network's thread.
    void wakeSession();
    /// The last call.
    void deliverClose(std::string reason);

private:
    using Event = std::function<void(WebSocketDelegate&)>;

    /// What came in: one text, or small ones that were joined.
    struct Waiting {
        OwnedText text;
        std::string joined;
    };

    bool isMuted();
    void postEvent(Event event);
    void dispatchData();
    void dispatch(const Event& event);

    Application& m_application; // used by the session alone, which it outlives
    const std::weak_ptr<WebSocketDelegate> m_delegate;
    const std::shared_ptr<IoGate> m_gate;
    const std::shared_ptr<const std::atomic<bool>> m_silenced;
    const std::size_t m_unsentLimit;

    std::mutex m_mutex;
    std::weak_ptr<WebSocketSession> m_session;
    std::deque<MessagePieces> m_messages;
    std::optional<WebSocketTimers> m_timers;
    std::size_t m_unsentBytes = 0; // of m_messages
    std::deque<Waiting> m_waiting; // one event posted for each
    std::size_t m_waitingBytes = 0;
    bool m_closeRequested = false;
    bool m_abandoned = false;
    bool m_ended = false;
};

/// What the user of a WebSocket holds.
std::shared_ptr<WebSocket> makeWebSocket(std::shared_ptr<SocketChannel> channel);

} // namespace platform::linux_
