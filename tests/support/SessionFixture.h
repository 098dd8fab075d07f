// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/StompText.h"

/// A session that a test drives from the server's side, with the view of the program.
class SessionFixture : public PlatformTest {
protected:
    SessionFixture() { viewController.viewDidLoad(); }

    void connect(std::optional<std::string> roomId = "r1") {
        session->connect("h", 8443, "/p/room/r1", std::move(roomId));
    }

    /// A subscribed session, its past forgotten.
    void establish() {
        connect();
        acceptConnection();
        forget();
    }
    void acceptConnection() {
        open();
        receive(connectedText());
    }

    std::string endOfCommand(const std::string& json) {
        return endOf([&] { receive(messageText(json)); });
    }

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

    ViewController viewController{memory.userInterface().statusTextView()};
    std::shared_ptr<ZqClient> session = std::make_shared<ZqClient>(&viewController);
};
