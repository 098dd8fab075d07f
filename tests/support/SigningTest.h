// SPDX-License-Identifier: MIT
// The fixture of the two signing commands: a view, a session that is connected to room "r1", and a
// keychain with one identity, "Alice".
#pragma once

#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqMessage.h"
#include "foundation/Base64.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/ReferenceDigests.h"
#include "tests/support/StompText.h"

class SigningTest : public PlatformTest {
protected:
    SigningTest() {
        viewController.viewDidLoad();
        session->connect("h", 443, "/room/r1", "r1");
        MemoryWebSocket& socket = *memory.network().webSockets.at(0);
        socket.open();
        socket.receive(connectedText());
        memory.application().runPending();
        keychain.addIdentity("Alice");
    }

    /// What happens when `signer` is given the envelope.
    template <typename Signer>
    Events eventsOfCommand(Signer signer, const std::string& envelope) {
        return eventsOf([&] {
            const auto message = ZqMessage::initWithBody(envelope + nul);
            signer(session->client().get(), session.get(), message.get());
        });
    }

    /// The JSON text of a command with this payload and the request id "q1".
    static std::string envelope(const std::string& command, const std::string& payload) {
        return R"({"command":")" + command + R"(","payload":)" + payload + R"(,"requestId":"q1"})";
    }

    /// What the server knows the identity by, if its bytes are those of its name.
    static std::string digestOf(const std::string& name) {
        return base64Encoded(referenceSha1(bytesOf(name)));
    }

    /// The keychain is listed: these identities are in it.
    static Events listing(const std::vector<std::string>& names) {
        Events events{"SecKeychainCopyDefault", "SecItemCopyMatching"};
        for (const std::string& name : names) {
            events = joined(events,
                Events{"SecIdentityCopyPrivateKey <" + name + ">",
                    "SecIdentityCopyCertificate <" + name + ">",
                    "log: Parsing certificiate Optional(<" + name + ">)"});
        }
        return events;
    }

    static Events signingWith(const std::string& name) {
        return {
            "SecKeyIsAlgorithmSupported <" + name + ">", "SecKeyCreateSignature <" + name + ">"};
    }

    /// An answer goes to the room.
    static Events sending(
        const std::string& command, const std::string& payload, const std::string& requestId) {
        const std::string body = R"({"command":")" + command + R"(","payload":)" + payload
            + R"(,"requestId":)" + requestId + "}";
        return {"log: Sending message: " + command + " Optional(" + payload + ") Optional("
                + requestId + ")",
            "sent: "
                + frameText(
                    "SEND\ndestination:/app/room/r1\ncontent-length:" + std::to_string(body.size()),
                    body)};
    }

    ScriptedKeychain& keychain = memory.security();
    ViewController viewController{memory.userInterface().statusTextView()};
    std::shared_ptr<ZqClient> session = std::make_shared<ZqClient>(&viewController);
};
