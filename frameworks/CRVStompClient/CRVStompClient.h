// SPDX-License-Identifier: MIT
// A STOMP client (1.0, 1.1, 1.2) over a WebSocket of the platform.
#pragma once

#include "foundation/TextPieces.h"
#include "frameworks/CRVStompClient/CRVStompClientDelegate.h"
#include "frameworks/CRVStompClient/StompMessages.h"
#include "platform/Network.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// One connection, from connecting to disconnected; it never reconnects. Used on the main thread.
/// A client that is dropped closes its connection quietly: its delegate is told nothing.
class CRVStompClient : public platform::WebSocketDelegate,
                       public std::enable_shared_from_this<CRVStompClient> {
public:
    /// Header entries to send; one without a value is left out of the frame.
    using HeaderDictionary = std::vector<std::pair<std::string, std::optional<std::string>>>;

    /// `url` is the path of the endpoint, not percent-encoded. The delegate is not kept alive.
    static std::shared_ptr<CRVStompClient> initWithHost(std::string host, std::uint64_t port,
        std::optional<std::string> url, std::optional<std::string> login,
        std::optional<std::string> passcode, std::weak_ptr<CRVStompClientDelegate> delegate,
        bool autoconnect, bool wss);

    /// Starts to connect; nothing happens when that was done before.
    void connect();
    void subscribeToDestination(const std::string& destination, const HeaderDictionary& header);
    /// Queues a SEND frame; the body goes to the network as it is. An absent body is sent as empty.
    void sendMessage(std::optional<TextPieces> body, const std::string& destination);

    void webSocketDidOpen(const std::string& subprotocol) override;
    void webSocketDidReceiveData(OwnedText data) override;
    void webSocketDidClose(const std::string& reason) override;

private:
    enum class State { idle, connecting, handshaking, connected, disconnected };

    CRVStompClient(std::string host, std::uint64_t port, std::optional<std::string> url,
        std::optional<std::string> login, std::optional<std::string> passcode,
        std::weak_ptr<CRVStompClientDelegate> delegate, bool wss);

    void handleFrame(const stomp::Frame& frame, OwnedText body);
    void handleConnected(const stomp::Frame& frame);
    void handleError(const stomp::Frame& frame, std::string_view details);
    void sendFrame(const std::string& command, const stomp::Headers& headers, TextPieces body);
    void disconnect(const std::string& reason);
    std::string address() const;

    std::string m_host;
    std::uint64_t m_port;
    std::optional<std::string> m_url;
    std::optional<std::string> m_login;
    std::optional<std::string> m_passcode;
    std::weak_ptr<CRVStompClientDelegate> m_delegate;
    bool m_secure;
    State m_state = State::idle;
    stomp::Version m_version = stomp::Version::v1_2;
    stomp::MessageDecoder m_decoder;
    std::shared_ptr<platform::WebSocket> m_socket;
};
