// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

/// A session that a test drives from the server's side, with the view of the program.
class SessionFixture : public testing::Test {
protected:
    SessionFixture() { m_view.viewDidLoad(); }

    void connect(std::optional<std::string> roomId = "r1") {
        m_session->connect("h", 8443, "/p/room/r1", std::move(roomId));
    }

    MemoryWebSocket& server() { return *m_platform.network().webSockets.at(0); }

    void receive(const std::string& data) {
        server().receive(data);
        m_platform.application().runPending();
    }

    /// A subscribed session, its past forgotten.
    void establish() {
        connect();
        server().open();
        receive(connectedText());
        forget();
    }

    std::string endOfCommand(const std::string& json) {
        return endOf([&] { receive(messageText(json)); });
    }

    Events happened() {
        Events events = m_platform.trace.events();
        forget();
        return events;
    }

    void forget() { m_platform.trace = {}; }

    static Events receivedLines(const std::string& json, const std::string& command) {
        return {
            "log: STOMP message received: " + json + nul, "log: Processing command: " + command};
    }

    static Events notification(const std::string& message) {
        return joined(statusLine(message), Events{"notification: " + message + " | Quillet"});
    }

    static std::string sentToRoom(const std::string& body) {
        return "sent: "
            + frameText(
                "SEND\ndestination:/app/room/r1\ncontent-length:" + std::to_string(body.size()),
                body);
    }

    static Events together(std::initializer_list<Events> parts) {
        Events all;
        for (const Events& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    void expectFatalEnd(const Events& before) { EXPECT_THAT(happened(), AbortsAfter(before)); }

    MemoryPlatform m_platform;
    ViewController m_view{m_platform.userInterface().statusTextView()};
    std::shared_ptr<ZqClient> m_session = std::make_shared<ZqClient>(&m_view);
};
