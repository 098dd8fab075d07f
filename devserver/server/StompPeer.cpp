// SPDX-License-Identifier: MIT
#include "devserver/server/StompPeer.h"

#include <algorithm>
#include <array>

namespace devserver {

namespace {

constexpr std::uint16_t normalClosure = 1000; // RFC 6455, 7.4.1
constexpr std::uint16_t protocolError = 1002;
constexpr int mostSubscriptions = 100; // of one connection

/// The versions of a comma-separated list; a client that sends none speaks 1.0.
std::vector<stomp::Version> acceptedVersions(const std::string* list) {
    if (list == nullptr) {
        return {stomp::Version::v1_0};
    }
    std::vector<stomp::Version> versions;
    std::string_view rest = *list;
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        std::string_view text = rest.substr(0, comma);
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        if (const std::optional<stomp::Version> version = stomp::versionFromText(text)) {
            versions.push_back(*version);
        }
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    }
    return versions;
}

std::optional<stomp::Version> highestCommon(
    const std::vector<stomp::Version>& ours, const std::vector<stomp::Version>& theirs) {
    std::optional<stomp::Version> best;
    for (const stomp::Version version : theirs) {
        const bool known = std::find(ours.begin(), ours.end(), version) != ours.end();
        if (known && (!best || *best < version)) {
            best = version;
        }
    }
    return best;
}

std::string versionList(const std::vector<stomp::Version>& versions) {
    std::string list;
    for (const stomp::Version version : versions) {
        list += (list.empty() ? "" : ",") + std::string(stomp::versionText(version));
    }
    return list;
}

} // namespace

StompPeer::StompPeer(std::shared_ptr<ServerState> server, std::string room, RecordedRequest upgrade)
    : m_server(std::move(server))
    , m_session(std::make_shared<AgentSession>(std::move(room), std::move(upgrade))) {
}

void StompPeer::attach(std::shared_ptr<Transport> transport) {
    m_session->attach(std::move(transport));
}

void StompPeer::receive(std::string_view bytes) {
    if (bytes == "\n" && m_decoder.isBetweenFrames()) {
        m_session->beat();
    }
    stomp::Frame frame;
    while (!m_isEnding) {
        switch (m_decoder.decode(bytes, frame)) {
        case stomp::FrameDecoder::Result::needMore:
            return;
        case stomp::FrameDecoder::Result::frame:
            handle(std::move(frame));
            break;
        case stomp::FrameDecoder::Result::failed:
            fail(m_decoder.error());
            break;
        }
    }
}

void StompPeer::ended(CloseInfo info) {
    m_session->ended(std::move(info));
}

void StompPeer::subscribeLimitReached() {
    if (!m_isAnnounced && !m_isEnding) {
        fail("The room was not subscribed to in time");
    }
}

void StompPeer::handle(stomp::Frame frame) {
    if (!m_isConnected) {
        if (frame.command == "CONNECT" || frame.command == "STOMP") {
            connect(std::move(frame));
        } else {
            fail("The first frame is not CONNECT");
        }
        return;
    }
    const bool isDisconnect = frame.command == "DISCONNECT";
    std::optional<std::string> receipt;
    if (const std::string* id = frame.headers.find("receipt")) {
        receipt = *id;
    }
    dispatch(std::move(frame));
    if (receipt && !m_isEnding) {
        send({"RECEIPT", {{"receipt-id", *receipt}}, {}});
    }
    if (isDisconnect) {
        m_isEnding = true;
        m_session->close(normalClosure);
    }
}

void StompPeer::connect(stomp::Frame frame) {
    const ServerOptions& options = m_server->options();
    const std::optional<stomp::Version> version
        = highestCommon(options.versions, acceptedVersions(frame.headers.find("accept-version")));
    if (!version) {
        m_isEnding = true;
        send({"ERROR",
            {{"version", versionList(options.versions)}, {"message", "No common STOMP version"}},
            "The server speaks " + versionList(options.versions)});
        m_session->close(protocolError);
        return;
    }
    m_isConnected = true;
    m_decoder.setVersion(*version);
    m_session->connected(std::move(frame), *version);
    send({"CONNECTED",
        {{"version", std::string(stomp::versionText(*version))},
            {"server", "quillet-devserver/" QUILLET_DEVSERVER_VERSION},
            {"heart-beat", options.heartBeat}},
        {}});
}

void StompPeer::dispatch(stomp::Frame frame) {
    static constexpr std::array<std::string_view, 5> withoutEffect
        = {"ACK", "NACK", "BEGIN", "COMMIT", "ABORT"};
    if (frame.command == "SEND") {
        if (!m_session->deliver(std::move(frame), m_server->options().inboxLimit)) {
            fail("Too much waits to be received");
        }
    } else if (frame.command == "SUBSCRIBE") {
        subscribe(std::move(frame));
    } else if (frame.command == "UNSUBSCRIBE") {
        const std::string* id = frame.headers.find("id");
        m_session->unsubscribed(id != nullptr ? *id : "");
    } else if (frame.command != "DISCONNECT"
        && std::find(withoutEffect.begin(), withoutEffect.end(), frame.command)
            == withoutEffect.end()) {
        fail("Unknown command " + frame.command);
    }
}

void StompPeer::subscribe(stomp::Frame frame) {
    const std::string* destination = frame.headers.find("destination");
    if (destination == nullptr) {
        fail("SUBSCRIBE without a destination");
        return;
    }
    if (++m_subscriptions > mostSubscriptions) {
        fail("Too many subscriptions");
        return;
    }
    const bool isRoom = *destination == "/topic/room/" + m_session->room();
    m_session->subscribed(std::move(frame), isRoom);
    if (isRoom && !m_isAnnounced) {
        m_isAnnounced = true;
        m_server->announce(m_session);
    }
}

void StompPeer::fail(const std::string& message) {
    m_isEnding = true;
    send({"ERROR", {{"message", message}, {"content-type", "text/plain"}}, message});
    m_session->close(protocolError);
}

void StompPeer::send(stomp::Frame frame) {
    m_session->sendFrame(std::move(frame));
}

} // namespace devserver
