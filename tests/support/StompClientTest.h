// SPDX-License-Identifier: MIT
// A STOMP client over a network in memory, and what its delegate is told.
#pragma once

#include "frameworks/CRVStompClient/CRVStompClient.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/RecordingStompDelegate.h"
#include "tests/support/StompText.h"

class StompClientTest : public PlatformTest {
protected:
    std::shared_ptr<CRVStompClient> makeClient(
        std::optional<std::string> url = "/room/r", bool autoconnect = true, bool wss = true) {
        return CRVStompClient::initWithHost(
            "h", 443, std::move(url), std::nullopt, std::nullopt, m_delegate, autoconnect, wss);
    }

    /// A connected client, its past forgotten.
    void establish(const std::string& version = "1.2") {
        m_client = makeClient();
        open();
        receive(connectedText(version));
        forget();
    }

    /// The connection ended with `reason`, which the log tells after `label`.
    void expectEnd(const std::string& label, const std::string& reason) {
        EXPECT_THAT(happened(),
            testing::ElementsAre(
                "log: " + label + reason, "will disconnect: " + reason, "did disconnect"));
        EXPECT_TRUE(server().closed);
    }

    std::shared_ptr<RecordingDelegate> m_delegate
        = std::make_shared<RecordingDelegate>(memory.trace);
    std::shared_ptr<CRVStompClient> m_client;
};

inline const std::string couldNotConnect = "Could not connect to wss://h:443: ";
inline const std::string connectionLost = "Connection to wss://h:443 lost: ";
