// SPDX-License-Identifier: MIT
#pragma once

#include "frameworks/CRVStompClient/CRVStompClient.h"
#include "tests/support/Trace.h"

#include <functional>
#include <optional>
#include <string>

/// Records what it is told in a trace.
class RecordingDelegate : public CRVStompClientDelegate {
public:
    explicit RecordingDelegate(Trace& trace)
        : m_trace(trace) { }

    void stompClientDidConnect(CRVStompClient* client) override {
        m_trace.add("did connect");
        if (onConnect) {
            onConnect(*client);
        }
    }
    void stompClientDidDisconnect(CRVStompClient*) override { m_trace.add("did disconnect"); }
    void stompClientWillDisconnect(CRVStompClient*, const std::string& error) override {
        m_trace.add("will disconnect: " + error);
    }
    void serverDidSendError(CRVStompClient*, std::optional<std::string> message,
        std::optional<std::string> details) override {
        m_trace.add("error: " + message.value_or("nil") + " | " + details.value_or("nil"));
    }
    void messageReceived(
        CRVStompClient*, std::optional<OwnedText> body, const stomp::Headers& headers) override {
        std::string text = "message: " + std::string(body ? body->view() : "nil");
        for (const auto& [name, value] : headers.entries()) {
            text += "|" + name + "=" + value;
        }
        m_trace.add(std::move(text));
        if (onMessage) {
            onMessage();
        }
    }
    void serverDidSendReceipt(CRVStompClient*, const std::string& receiptId) override {
        m_trace.add("receipt: " + receiptId);
    }
    void serverDidSendPing(CRVStompClient*) override { m_trace.add("ping"); }

    std::function<void(CRVStompClient&)> onConnect;
    std::function<void()> onMessage;

private:
    Trace& m_trace;
};
