// SPDX-License-Identifier: MIT
// A STOMP client over a network in memory, and what its delegate is told.
#pragma once

#include "frameworks/CRVStompClient/CRVStompClient.h"
#include "tests/support/MemoryPlatform.h"
#include "tests/support/RecordingStompDelegate.h"
#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

class StompClientTest : public testing::Test {
protected:
    std::shared_ptr<CRVStompClient> makeClient(
        std::optional<std::string> url = "/room/r", bool autoconnect = true, bool wss = true) {
        return CRVStompClient::initWithHost(
            "h", 443, std::move(url), std::nullopt, std::nullopt, m_delegate, autoconnect, wss);
    }

    MemoryWebSocket& server() { return *m_platform.network().webSockets.at(0); }

    void open(const std::string& subprotocol = {}) {
        server().open(subprotocol);
        m_platform.application().runPending();
    }

    void receive(const std::string& data) {
        server().receive(data);
        m_platform.application().runPending();
    }

    void lose(const std::string& reason) {
        server().lose(reason);
        m_platform.application().runPending();
    }

    /// A connected client, its past forgotten.
    void establish(const std::string& version = "1.2") {
        m_client = makeClient();
        open();
        receive(connectedText(version));
        forget();
    }

    /// What happened since it was last asked.
    std::vector<std::string> happened() {
        const std::vector<std::string> events = m_platform.trace.events();
        forget();
        return events;
    }

    void forget() { m_platform.trace = {}; }

    /// The connection ended with `reason`, which the log tells after `label`.
    void expectEnd(const std::string& label, const std::string& reason) {
        EXPECT_THAT(happened(),
            testing::ElementsAre(
                "log: " + label + reason, "will disconnect: " + reason, "did disconnect"));
        EXPECT_TRUE(server().closed);
    }

    MemoryPlatform m_platform;
    std::shared_ptr<RecordingDelegate> m_delegate
        = std::make_shared<RecordingDelegate>(m_platform.trace);
    std::shared_ptr<CRVStompClient> m_client;
};

inline const std::string couldNotConnect = "Could not connect to wss://h:443: ";
inline const std::string connectionLost = "Connection to wss://h:443 lost: ";
