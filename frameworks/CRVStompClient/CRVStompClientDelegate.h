// SPDX-License-Identifier: MIT
#pragma once

#include "foundation/SharedText.h"
#include "frameworks/CRVStompClient/StompFrame.h"

#include <optional>
#include <string>

class CRVStompClient;

/// Told of a connection's events, one at a time, on the main thread.
class CRVStompClientDelegate {
public:
    virtual ~CRVStompClientDelegate() = default;

    virtual void stompClientDidConnect(CRVStompClient* client) = 0;
    /// The connection could not be made, was lost or was closed. The last event.
    virtual void stompClientDidDisconnect(CRVStompClient* client) = 0;
    /// An ERROR frame: its "message" header, and its body.
    virtual void serverDidSendError(CRVStompClient* client, std::optional<std::string> message,
        std::optional<std::string> details)
        = 0;
    /// A MESSAGE frame. The body ends in one further character, the frame's terminator.
    virtual void messageReceived(
        CRVStompClient* client, std::optional<OwnedText> body, const stomp::Headers& headers)
        = 0;

    // Optional ones.
    virtual void stompClientWillDisconnect(CRVStompClient*, const std::string& /*error*/) { }
    virtual void serverDidSendReceipt(CRVStompClient*, const std::string& /*receiptId*/) { }
    virtual void serverDidSendPing(CRVStompClient*) { }
};
