// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/CRVStompClient.h"

#include "foundation/PercentEncoding.h"
#include "frameworks/CRVStompClient/StompHeartBeat.h"
#include "platform/Platform.h"

using platform::NSLog;

namespace {

constexpr std::string_view offeredVersions = "1.0,1.1,1.2";
constexpr stomp::HeartBeat offeredHeartBeat{std::chrono::seconds(10), std::chrono::seconds(10)};
constexpr std::chrono::seconds connectedLimit{60}; // from the open WebSocket to CONNECTED

/// The version that a CONNECTED frame settles on; a server that names none speaks 1.0
/// (STOMP 1.2, "Protocol Negotiation").
std::optional<stomp::Version> negotiatedVersion(const stomp::Frame& connected) {
    const std::string* version = connected.headers.find("version");
    return version == nullptr ? stomp::Version::v1_0 : stomp::versionFromText(*version);
}

/// What the WebSocket has to do by itself once a CONNECTED frame of this version has come. Version
/// 1.0 knows no heart-beats.
platform::WebSocketTimers timersAfter(const stomp::Frame& connected, stomp::Version version) {
    const std::string* text = connected.headers.find("heart-beat");
    if (text == nullptr || version == stomp::Version::v1_0) {
        return {};
    }
    const auto theirs = stomp::heartBeatFromText(*text);
    if (!theirs) {
        NSLog("No heart-beats, for the server's offer is not understood: ", *text);
        return {};
    }
    const stomp::HeartBeatAgreement agreement = stomp::agreed(offeredHeartBeat, *theirs);
    // Each beat leaves early enough to arrive in time. A silent server is given far more, for some
    // send nothing for almost twice their interval.
    return {.beat = "\n",
        .beatInterval = agreement.send * 4 / 5,
        .silenceLimit = agreement.receive * 5 / 2};
}

} // namespace

std::shared_ptr<CRVStompClient> CRVStompClient::initWithHost(std::string host, std::uint64_t port,
    std::optional<std::string> url, std::optional<std::string> login,
    std::optional<std::string> passcode, std::weak_ptr<CRVStompClientDelegate> delegate,
    bool autoconnect, bool wss) {
    std::shared_ptr<CRVStompClient> client(new CRVStompClient(std::move(host), port, std::move(url),
        std::move(login), std::move(passcode), std::move(delegate), wss));
    if (autoconnect) {
        client->connect();
    }
    return client;
}

CRVStompClient::CRVStompClient(std::string host, std::uint64_t port, std::optional<std::string> url,
    std::optional<std::string> login, std::optional<std::string> passcode,
    std::weak_ptr<CRVStompClientDelegate> delegate, bool wss)
    : m_host(std::move(host))
    , m_port(port)
    , m_url(std::move(url))
    , m_login(std::move(login))
    , m_passcode(std::move(passcode))
    , m_delegate(std::move(delegate))
    , m_secure(wss) {
}

void CRVStompClient::connect() {
    if (m_state != State::idle) {
        return;
    }
    m_state = State::connecting;
    platform::WebSocketRequest request;
    request.host = m_host;
    request.port = m_port;
    request.target = m_url && !m_url->empty() ? percentEncodedPath(*m_url) : "/";
    request.secure = m_secure;
    request.subprotocols = {"v12.stomp", "v11.stomp"};
    m_socket = platform::current().network().openWebSocket(request, weak_from_this());
}

void CRVStompClient::subscribeToDestination(
    const std::string& destination, const HeaderDictionary& header) {
    stomp::Headers headers{{"destination", destination}};
    for (const auto& [name, value] : header) {
        if (value) {
            headers.add(name, *value);
        }
    }
    sendFrame("SUBSCRIBE", headers, {});
}

void CRVStompClient::sendMessage(std::optional<TextPieces> body, const std::string& destination) {
    TextPieces text = std::move(body).value_or(TextPieces());
    const stomp::Headers headers{
        {"destination", destination}, {"content-length", std::to_string(text.size())}};
    sendFrame("SEND", headers, std::move(text));
}

void CRVStompClient::webSocketDidOpen(const std::string&) {
    if (m_state != State::connecting) {
        return;
    }
    m_state = State::handshaking;
    m_socket->setTimers({.deadline = connectedLimit});
    stomp::Headers headers{{"accept-version", std::string(offeredVersions)}, {"host", m_host},
        {"heart-beat", stomp::heartBeatText(offeredHeartBeat)}};
    if (m_login) {
        headers.add("login", *m_login);
    }
    if (m_passcode) {
        headers.add("passcode", *m_passcode);
    }
    sendFrame("CONNECT", headers, {});
}

void CRVStompClient::webSocketDidReceiveData(OwnedText data) {
    stomp::Frame frame;
    OwnedText body;
    while (m_state == State::handshaking || m_state == State::connected) {
        switch (m_decoder.decode(data, frame, body)) {
        case stomp::MessageDecoder::Result::frame:
            handleFrame(frame, std::move(body));
            break;
        case stomp::MessageDecoder::Result::needMore:
            return;
        case stomp::MessageDecoder::Result::failed:
            disconnect("the server broke the STOMP protocol: " + m_decoder.error());
            return;
        }
    }
}

void CRVStompClient::webSocketDidClose(const std::string& reason) {
    disconnect(reason);
}

void CRVStompClient::handleFrame(const stomp::Frame& frame, OwnedText body) {
    if (frame.command == "ERROR") {
        handleError(frame, body.view().substr(0, body.size() - 1));
    } else if (m_state == State::handshaking) {
        if (frame.command == "CONNECTED") {
            handleConnected(frame);
        } else {
            disconnect("the server sent " + frame.command + " before CONNECTED");
        }
    } else if (frame.command == "MESSAGE") {
        if (const auto delegate = m_delegate.lock()) {
            delegate->messageReceived(this, std::move(body), frame.headers);
        }
    } else if (frame.command == "RECEIPT") {
        const std::string* receiptId = frame.headers.find("receipt-id");
        if (const auto delegate = m_delegate.lock(); delegate && receiptId != nullptr) {
            delegate->serverDidSendReceipt(this, *receiptId);
        }
    } else {
        NSLog("Ignoring STOMP frame: ", frame.command);
    }
}

void CRVStompClient::handleConnected(const stomp::Frame& frame) {
    const std::optional<stomp::Version> version = negotiatedVersion(frame);
    if (!version) {
        disconnect("the server chose STOMP version " + *frame.headers.find("version")
            + ", which was not offered");
        return;
    }
    m_version = *version;
    m_decoder.setVersion(*version);
    m_state = State::connected;
    m_socket->setTimers(timersAfter(frame, *version));
    if (const auto delegate = m_delegate.lock()) {
        delegate->stompClientDidConnect(this);
    }
}

void CRVStompClient::handleError(const stomp::Frame& frame, std::string_view details) {
    const std::string* message = frame.headers.find("message");
    // The server must close after an ERROR; some never do, so nothing is awaited from it.
    m_state = State::disconnected;
    m_socket->close();
    if (const auto delegate = m_delegate.lock()) {
        delegate->serverDidSendError(this,
            message == nullptr ? std::nullopt : std::optional<std::string>(*message),
            std::string(details));
    }
}

void CRVStompClient::sendFrame(
    const std::string& command, const stomp::Headers& headers, TextPieces body) {
    if (m_state != (command == "CONNECT" ? State::handshaking : State::connected)) {
        NSLog("Not connected, STOMP frame not sent: ", command);
        return;
    }
    std::optional<std::string> head = stomp::encodeHead(command, headers, m_version);
    if (!head) {
        disconnect("a header of the frame " + command + " cannot be written in STOMP "
            + std::string(stomp::versionText(m_version)));
        return;
    }
    std::vector<SharedText> pieces{std::move(*head)};
    for (const auto& [text, clean] : std::move(body).take()) {
        pieces.push_back(text);
    }
    pieces.emplace_back(std::string(1, '\0'));
    m_socket->send(std::move(pieces));
}

/// Tells the log the cause, then the delegate, once.
void CRVStompClient::disconnect(const std::string& reason) {
    if (m_state == State::disconnected) {
        return;
    }
    const bool wasConnected = m_state == State::connected;
    m_state = State::disconnected;
    NSLog(wasConnected ? "Connection to " : "Could not connect to ", address(),
        wasConnected ? " lost: " : ": ", reason);
    m_socket->close();
    if (const auto delegate = m_delegate.lock()) {
        delegate->stompClientWillDisconnect(this, reason);
        delegate->stompClientDidDisconnect(this);
    }
}

std::string CRVStompClient::address() const {
    return (m_secure ? "wss://" : "ws://") + m_host + ":" + std::to_string(m_port);
}
