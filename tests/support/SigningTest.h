// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqMessage.h"
#include "tests/support/KeychainEvents.h"
#include "tests/support/SessionFixture.h"

/// The two signing commands: an established session, and a keychain with one identity, "Alice".
class SigningTest : public SessionFixture {
protected:
    SigningTest() {
        establish();
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

    /// An answer goes to the room.
    static Events sending(
        const std::string& command, const std::string& payload, const std::string& requestId) {
        return {"log: Sending message: " + command + " Optional(" + payload + ") Optional("
                + requestId + ")",
            sentToRoom(R"({"command":")" + command + R"(","payload":)" + payload
                + R"(,"requestId":)" + requestId + "}")};
    }
};
