// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqConsent.h"
#include "ZqMacClient/ZqMessage.h"
#include "frameworks/CRVStompClient/CRVStompClient.h"
#include "frameworks/CRVStompClient/CRVStompClientDelegate.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class ViewController;

/// The session with the server: joins the room, obeys its commands, answers. Main thread.
class ZqClient : public CRVStompClientDelegate, public std::enable_shared_from_this<ZqClient> {
public:
    /// The view must be given and outlive the session.
    explicit ZqClient(ViewController* viewController);

    /// Starts to connect and returns at once. `url` is the path of the WebSocket endpoint. Host and
    /// port are required.
    void connect(std::optional<std::string> host, std::optional<std::uint64_t> port,
        std::optional<std::string> url, std::optional<std::string> roomId);

    /// Sends an answer to the room, through a connection; both are required.
    void send(CRVStompClient* service, const ZqMessage* message);

    void getDiagnostics(CRVStompClient* service);
    void listCertificates(CRVStompClient* service);

    /// What the server may have; without it, whatever it asks for.
    void setConsent(ZqConsent consent) { m_consent = std::move(consent); }
    ZqConsent* consent() { return m_consent ? &*m_consent : nullptr; }

    const std::optional<std::string>& roomId() const { return m_roomId; }
    const std::shared_ptr<CRVStompClient>& client() const { return m_client; }

    void stompClientDidConnect(CRVStompClient* client) override;
    void stompClientDidDisconnect(CRVStompClient* client) override;
    void serverDidSendError(CRVStompClient* client, std::optional<std::string> message,
        std::optional<std::string> details) override;
    void messageReceived(CRVStompClient* client, std::optional<OwnedText> body,
        const stomp::Headers& headers) override;

private:
    void dispatch(CRVStompClient* service, const ZqMessage& message);
    [[noreturn]] void exitAfter(const std::string& command);

    ViewController* m_viewController;
    std::optional<ZqConsent> m_consent;
    std::optional<std::string> m_roomId;
    std::shared_ptr<CRVStompClient> m_client;
};
