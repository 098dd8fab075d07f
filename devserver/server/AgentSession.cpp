// SPDX-License-Identifier: MIT
#include "devserver/server/AgentSession.h"

#include "devserver/server/Envelope.h"

#include <iterator>

namespace devserver {

namespace {

/// About the memory that a frame takes.
std::size_t sizeOf(const stomp::Frame& frame) {
    std::size_t size = sizeof frame + frame.command.size() + frame.body.size();
    for (const auto& [name, value] : frame.headers.entries()) {
        size += sizeof(stomp::Headers::Entry) + name.size() + value.size();
    }
    return size;
}

} // namespace

std::string AgentMessage::command() const {
    const boost::json::value* value = find("command");
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : "";
}

const boost::json::value* AgentMessage::find(std::string_view key) const {
    const boost::json::object* object = envelope.if_object();
    return object != nullptr ? object->if_contains({key.data(), key.size()}) : nullptr;
}

AgentSession::AgentSession(std::string room, RecordedRequest upgrade)
    : m_room(std::move(room))
    , m_upgrade(std::move(upgrade)) {
}

stomp::Frame AgentSession::connectFrame() const {
    const std::lock_guard lock(m_mutex);
    return m_connectFrame;
}

stomp::Version AgentSession::version() const {
    const std::lock_guard lock(m_mutex);
    return m_version;
}

std::vector<stomp::Frame> AgentSession::subscribeFrames() const {
    const std::lock_guard lock(m_mutex);
    return m_subscribeFrames;
}

bool AgentSession::sendCommand(std::string_view command,
    const std::optional<boost::json::value>& payload,
    const std::optional<boost::json::value>& requestId) {
    return sendEnvelope(envelopeText(command, payload, requestId));
}

bool AgentSession::sendEnvelope(std::string body) {
    return isSubscribed() && sendFrame(messageFrame(std::move(body)));
}

bool AgentSession::sendFrame(stomp::Frame frame) {
    std::vector<stomp::Frame> frames;
    frames.push_back(std::move(frame));
    return sendTogether(std::move(frames));
}

bool AgentSession::sendTogether(std::vector<stomp::Frame> frames) {
    std::vector<std::string> message;
    for (stomp::Frame& frame : frames) {
        std::optional<std::vector<std::string>> pieces = framePieces(std::move(frame), version());
        if (!pieces) {
            return false;
        }
        message.insert(message.end(), std::make_move_iterator(pieces->begin()),
            std::make_move_iterator(pieces->end()));
    }
    return sendPieces(std::move(message), MessageKind::text);
}

bool AgentSession::sendRaw(std::vector<std::string> messages, MessageKind kind) {
    bool sent = isOpen();
    for (std::string& message : messages) {
        std::vector<std::string> pieces;
        pieces.push_back(std::move(message));
        sent = sendPieces(std::move(pieces), kind) && sent;
    }
    return sent;
}

/// The connection is called under the lock: it never blocks, and so nothing is handed to it once
/// the session has ended and the server may be gone.
bool AgentSession::sendPieces(std::vector<std::string> pieces, MessageKind kind) {
    const std::lock_guard lock(m_mutex);
    if (m_transport) {
        m_transport->send({std::move(pieces), kind});
    }
    return m_transport != nullptr;
}

stomp::Frame AgentSession::messageFrame(std::string body) {
    const std::lock_guard lock(m_mutex);
    return {"MESSAGE",
        {{"subscription", m_subscriptionId}, {"message-id", std::to_string(++m_lastMessageId)},
            {"destination", m_destination}, {"content-type", "application/json"},
            {"content-length", std::to_string(body.size())}},
        std::move(body)};
}

std::optional<AgentMessage> AgentSession::receive(Timeout timeout) {
    std::optional<stomp::Frame> frame = receiveFrame(timeout);
    if (!frame) {
        return std::nullopt;
    }
    AgentMessage message;
    const std::string* destination = frame->headers.find("destination");
    message.destination = destination != nullptr ? *destination : "";
    message.headers = std::move(frame->headers);
    message.text = std::move(frame->body);
    if (std::optional<boost::json::value> value = parsedJson(message.text)) {
        message.envelope = std::move(*value);
    }
    return message;
}

std::optional<stomp::Frame> AgentSession::receiveFrame(Timeout timeout) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return !m_inbox.empty() || m_end; });
    if (m_inbox.empty()) {
        return std::nullopt;
    }
    stomp::Frame frame = std::move(m_inbox.front());
    m_inbox.pop_front();
    m_inboxSize -= sizeOf(frame);
    return frame;
}

bool AgentSession::waitForBeats(int count, Timeout timeout) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return m_beats >= count || m_end; });
    return m_beats >= count;
}

bool AgentSession::isSubscribed() const {
    const std::lock_guard lock(m_mutex);
    return m_isSubscribed;
}

bool AgentSession::isOpen() const {
    const std::lock_guard lock(m_mutex);
    return m_transport != nullptr;
}

std::optional<CloseInfo> AgentSession::waitForClose(Timeout timeout) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return m_end.has_value(); });
    return m_end;
}

void AgentSession::close(std::uint16_t code) {
    const std::lock_guard lock(m_mutex);
    if (m_transport) {
        m_transport->close(code);
    }
}

void AgentSession::closeAbruptly() {
    const std::lock_guard lock(m_mutex);
    if (m_transport) {
        m_transport->reset();
    }
}

void AgentSession::attach(std::shared_ptr<Transport> transport) {
    const std::lock_guard lock(m_mutex);
    m_transport = std::move(transport);
}

void AgentSession::connected(stomp::Frame frame, stomp::Version version) {
    const std::lock_guard lock(m_mutex);
    m_connectFrame = std::move(frame);
    m_version = version;
}

void AgentSession::subscribed(stomp::Frame frame, bool isRoom) {
    const std::lock_guard lock(m_mutex);
    if (isRoom) {
        const std::string* id = frame.headers.find("id");
        m_subscriptionId = id != nullptr ? *id : "";
        m_destination = *frame.headers.find("destination");
        m_isSubscribed = true;
    }
    m_subscribeFrames.push_back(std::move(frame));
}

void AgentSession::unsubscribed(const std::string& id) {
    const std::lock_guard lock(m_mutex);
    m_isSubscribed = m_isSubscribed && id != m_subscriptionId;
}

void AgentSession::beat() {
    const std::lock_guard lock(m_mutex);
    ++m_beats;
    m_changed.notify_all();
}

bool AgentSession::deliver(stomp::Frame frame, std::size_t limit) {
    const std::lock_guard lock(m_mutex);
    const std::size_t size = sizeOf(frame);
    if (size > limit - m_inboxSize) {
        return false;
    }
    m_inboxSize += size;
    m_inbox.push_back(std::move(frame));
    m_changed.notify_all();
    return true;
}

void AgentSession::ended(CloseInfo info) {
    const std::lock_guard lock(m_mutex);
    if (!m_end) {
        m_end = std::move(info);
        m_transport.reset();
        m_changed.notify_all();
    }
}

std::optional<std::vector<std::string>> framePieces(stomp::Frame frame, stomp::Version version) {
    if (!frame.body.empty() && frame.headers.find("content-length") == nullptr) {
        frame.headers.add("content-length", std::to_string(frame.body.size()));
    }
    std::optional<std::string> head = stomp::encodeHead(frame.command, frame.headers, version);
    if (!head) {
        return std::nullopt;
    }
    std::vector<std::string> pieces;
    pieces.reserve(3);
    pieces.push_back(std::move(*head));
    pieces.push_back(std::move(frame.body));
    pieces.emplace_back(1, '\0');
    return pieces;
}

} // namespace devserver
