// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqClient.h"

#include "tests/support/KeychainEvents.h"
#include "tests/support/SessionFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

class ZqClientTest : public SessionFixture { };

const std::string greetingReply = R"({"command":"CLIENT_CONNECT","payload":null,"requestId":null})";

} // namespace

TEST_F(ZqClientTest, StartsWithoutRoomAndConnection) {
    EXPECT_FALSE(session->roomId());
    EXPECT_EQ(session->client(), nullptr);
    EXPECT_EQ(happened(), Events());
}

TEST_F(ZqClientTest, NeedsAView) {
    EXPECT_EQ(endOf([] { ZqClient client(nullptr); }), "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, ConnectLogsAndStartsASecureConnection) {
    connect();
    EXPECT_EQ(session->roomId(), "r1");
    ASSERT_NE(session->client(), nullptr);
    EXPECT_EQ(happened(),
        (Events{"log: Connecting to Quillet server h:8443", "connect: h:8443/p/room/r1"}));
    EXPECT_TRUE(server().request.secure);
    open();
    EXPECT_EQ(happened(),
        Events{"sent: "
            + frameText("CONNECT\naccept-version:1.0,1.1,1.2\nhost:h\nheart-beat:10000,10000")});
}

TEST_F(ZqClientTest, UrlAndRoomMayBeAbsentWhenConnecting) {
    session->connect("h", 1, std::nullopt, "r1");
    EXPECT_EQ(happened(), (Events{"log: Connecting to Quillet server h:1", "connect: h:1/"}));
    session->connect("h", 2, "/x", std::nullopt);
    EXPECT_FALSE(session->roomId());
    EXPECT_EQ(happened(), (Events{"log: Connecting to Quillet server h:2", "connect: h:2/x"}));
}

TEST_F(ZqClientTest, MissingHostOrPortIsFatalAfterTheRoomIsStored) {
    EXPECT_EQ(endOf([&] { session->connect(std::nullopt, 443, "/", "a"); }), "abort");
    EXPECT_EQ(session->roomId(), "a");
    expectFatalEnd({});
    EXPECT_EQ(endOf([&] { session->connect("h", std::nullopt, "/", "b"); }), "abort");
    EXPECT_EQ(session->roomId(), "b");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, ConnectedSessionNotifiesAndSubscribesOnceAndAwaitsTheGreeting) {
    connect();
    open();
    forget();
    receive(connectedText());
    EXPECT_EQ(happened(),
        joined(notification("Connected to Quillet server"),
            Events{"log: Subscribing to messages on room Optional(\"r1\")",
                "sent: "
                    + frameText("SUBSCRIBE\ndestination:/topic/room/r1\nx-source:zq_client"
                                "\nid:sub-0\nclient_version:1.9")}));
}

TEST_F(ZqClientTest, VersionThatIsMissingOrNoTextIsLeftOutOfTheSubscription) {
    for (const bool isNumber : {false, true}) {
        memory.system().info.clear();
        if (isNumber) {
            memory.system().info.emplace("CFBundleShortVersionString", 7);
        }
        connect();
        acceptConnection();
        EXPECT_EQ(memory.trace.events().back(),
            "sent: "
                + frameText("SUBSCRIBE\ndestination:/topic/room/r1\nx-source:zq_client\nid:sub-0"));
    }
}

TEST_F(ZqClientTest, RoomIsSentAsItIsInDestinations) {
    connect("r 1/\xC3\xA9:2");
    server().open();
    receive(connectedText() + messageText(R"({"command":"SERVER_CONNECT"})"));
    const Events sent = memory.trace.withPrefix("sent: ");
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_THAT(sent[1], StartsWith("SUBSCRIBE\ndestination:/topic/room/r 1/\xC3\xA9\\c2\n"));
    EXPECT_THAT(sent[2], StartsWith("SEND\ndestination:/app/room/r 1/\xC3\xA9\\c2\n"));
}

TEST_F(ZqClientTest, SubscriptionWithoutRoomIsFatalAfterItsLogLine) {
    connect(std::nullopt);
    open();
    forget();
    EXPECT_EQ(endOf([&] { receive(connectedText()); }), "abort");
    expectFatalEnd(joined(notification("Connected to Quillet server"),
        Events{"log: Subscribing to messages on room nil"}));
}

TEST_F(ZqClientTest, SubscriptionWithoutConnectionIsFatal) {
    connect();
    forget();
    EXPECT_EQ(endOf([&] { session->stompClientDidConnect(nullptr); }), "abort");
    expectFatalEnd(joined(notification("Connected to Quillet server"),
        Events{"log: Subscribing to messages on room Optional(\"r1\")"}));
}

TEST_F(ZqClientTest, GreetingIsAnsweredEachTimeWithNulls) {
    establish();
    for (const char* json : {R"({"command":"SERVER_CONNECT"})",
             R"({"command":"SERVER_CONNECT","payload":{"a":1},"requestId":"r7"})"}) {
        receive(messageText(json));
        EXPECT_EQ(happened(),
            joined(receivedLines(json, "SERVER_CONNECT"),
                Events{"log: Sending message: CLIENT_CONNECT nil nil", sentToRoom(greetingReply)}));
    }
}

TEST_F(ZqClientTest, TerminateAndDisconnectExitWithoutReply) {
    for (const std::string command : {"TERMINATE_CLIENT", "SERVER_DISCONNECT"}) {
        for (const std::string rest : {"}", R"(,"payload":[],"requestId":{}})"}) {
            establish();
            const std::string json = "{\"command\":\"" + command + '"' + rest;
            EXPECT_EQ(endOfCommand(json), "exit 0");
            EXPECT_EQ(happened(),
                joined(receivedLines(json, command),
                    Events{"log: " + command + " received - exiting", "exit: 0"}));
        }
    }
}

TEST_F(ZqClientTest, OtherCommandsAreLoggedAndIgnored) {
    establish();
    for (const std::string command : {"server_connect", "Server_Connect", "", " SERVER_CONNECT",
             "SERVER_CONNECT ", "terminate_client", "CLIENT_CONNECT", "SIGN", "\xC3\xA9"}) {
        const std::string json = "{\"command\":\"" + command + "\"}";
        EXPECT_EQ(endOfCommand(json), "runs on");
        EXPECT_EQ(happened(),
            joined(receivedLines(json, command), Events{"log: Ignoring command: " + command}));
    }
}

TEST_F(ZqClientTest, FrameHeadersAreNotLookedAt) {
    establish();
    const std::string json = R"({"command":"SERVER_CONNECT"})";
    for (const std::string head :
        {"MESSAGE", "MESSAGE\ndestination:/topic/other\nsubscription:sub-9",
            "MESSAGE\nmessage:m\nreceipt:1\nx-source:zq_client\ncommand:TERMINATE_CLIENT"}) {
        receive(frameText(head, json));
        EXPECT_EQ(happened(),
            joined(receivedLines(json, "SERVER_CONNECT"),
                Events{"log: Sending message: CLIENT_CONNECT nil nil", sentToRoom(greetingReply)}))
            << head;
    }
}

TEST_F(ZqClientTest, MessageWithoutBodyIsFatal) {
    establish();
    EXPECT_EQ(endOf([&] { session->messageReceived(session->client().get(), std::nullopt, {}); }),
        "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, MalformedMessageIsLoggedAndEndsInItsAlert) {
    establish();
    EXPECT_EQ(endOfCommand(R"({"payload":1})"), "exit 1");
    EXPECT_EQ(happened(),
        joined(Events{"log: STOMP message received: {\"payload\":1}" + nul},
            fatalAlert("Malformed server message received", "Message command missing")));
}

TEST_F(ZqClientTest, AnswersGoThroughTheConnectionThatDelivered) {
    keychain.addIdentity("Alice");
    const std::string payload = R"({"certificateDigest":")" + digestOf("Alice")
        + R"(","bytesToSign":"","xmlSignedInfo":"","signatureAlgorithm":"SHA256withRSA"})";
    establish();
    session->connect("other", 1, "/", "r1"); // the session's own connection is another one now
    const auto first = CRVStompClient::initWithHost(
        "first", 2, "/", std::nullopt, std::nullopt, session, true, true);
    open();
    receive(connectedText());
    for (const std::string command :
        {"SERVER_CONNECT", "GET_DIAGNOSTICS", "LIST_CERTIFICATES", "SIGN_XML", "SIGN_PDF"}) {
        server().sent.clear();
        receive(messageText(R"({"command":")" + command + R"(","payload":)" + payload + "}"));
        EXPECT_THAT(server().sent, ElementsAre(StartsWith("SEND\n"))) << command;
    }
    EXPECT_EQ(memory.network().webSockets.at(1)->sent, Events());
}

TEST_F(ZqClientTest, SendLogsCommandPayloadAndRequestId) {
    establish();
    const std::tuple<std::optional<JsonValue>, std::optional<JsonValue>, const char*> cases[] = {
        {std::nullopt, std::nullopt, "X nil nil"},
        {JsonValue(nullptr), JsonValue(7), "X Optional(<null>) Optional(7)"},
        {JsonValue("p"), JsonValue("r"), "X Optional(\"p\") Optional(\"r\")"},
        {JsonObject{{"a", true}}, std::nullopt, "X Optional({\"a\":true}) nil"},
    };
    for (const auto& [payload, requestId, line] : cases) {
        const ZqMessage message("X", payload, requestId);
        session->send(session->client().get(), &message);
        EXPECT_EQ(happened(),
            (Events{std::string("log: Sending message: ") + line,
                sentToRoom(message.getBody().value().joined())}));
    }
}

TEST_F(ZqClientTest, SendNeedsMessageConnectionAndRoom) {
    establish();
    const auto connection = session->client();
    EXPECT_EQ(endOf([&] { session->send(connection.get(), nullptr); }), "abort");
    expectFatalEnd({});
    const ZqMessage message("X", std::nullopt, std::nullopt);
    EXPECT_EQ(endOf([&] { session->send(nullptr, &message); }), "abort");
    expectFatalEnd({"log: Sending message: X nil nil"});
    ZqClient roomless(&viewController);
    EXPECT_EQ(endOf([&] { roomless.send(connection.get(), &message); }), "abort");
    expectFatalEnd({"log: Sending message: X nil nil"});
}

TEST_F(ZqClientTest, MessageThatCannotBeWrittenIsShownBeforeTheConnectionIsMissed) {
    const ZqMessage message("X", JsonValue(std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(endOf([&] { session->send(nullptr, &message); }), "exit 1");
    const Events events = happened();
    ASSERT_FALSE(events.empty());
    EXPECT_THAT(events.front(), StartsWith("log: Sending message: X Optional("));
    EXPECT_EQ(Events(events.begin() + 1, events.end()),
        fatalAlert(
            "Error serializing message", "Invalid number value (not finite) in JSON write."));
}

TEST_F(ZqClientTest, LossOfTheConnectionExitsWithoutAlert) {
    establish();
    EXPECT_EQ(endOf([&] { lose("the server closed"); }), "exit 0");
    EXPECT_EQ(happened(),
        (Events{"log: Connection to wss://h:8443 lost: the server closed",
            "log: STOMP client disconnected from server", "exit: 0"}));
}

TEST_F(ZqClientTest, ConnectionThatCannotBeMadeExitsTheSameWay) {
    connect();
    forget();
    EXPECT_EQ(endOf([&] { lose("h refused the connection on port 8443"); }), "exit 0");
    EXPECT_EQ(happened(),
        (Events{"log: Could not connect to wss://h:8443: h refused the connection on port 8443",
            "log: STOMP client disconnected from server", "exit: 0"}));
}

TEST_F(ZqClientTest, ServerErrorIsShownAndEndsTheProcess) {
    establish();
    EXPECT_EQ(
        endOf([&] { receive(frameText("ERROR\nmessage:No room", "It is closed")); }), "exit 1");
    EXPECT_EQ(happened(), fatalAlert("No room", "It is closed"));
    EXPECT_EQ(memory.userInterface().alerts.at(0).alertStyle, platform::NSAlertStyle::critical);
}

TEST_F(ZqClientTest, ServerErrorMayHaveEmptyDetails) {
    establish();
    EXPECT_EQ(endOf([&] { receive(frameText("ERROR\nmessage:No room")); }), "exit 1");
    EXPECT_THAT(happened(), Contains("alert: No room | "));
}

TEST_F(ZqClientTest, ServerErrorNeedsBothTexts) {
    establish();
    EXPECT_EQ(endOf([&] { receive(frameText("ERROR", "details")); }), "abort");
    expectFatalEnd({});
    EXPECT_EQ(
        endOf([&] { session->serverDidSendError(nullptr, "message", std::nullopt); }), "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, OptionalCallbacksAreNotHandled) {
    establish();
    session->stompClientWillDisconnect(nullptr, "error");
    session->serverDidSendPing(nullptr);
    receive(frameText("RECEIPT\nreceipt-id:1"));
    EXPECT_EQ(happened(), Events());
}

TEST_F(ZqClientTest, DroppedSessionIsTornDownInSilence) {
    establish();
    server().receive(messageText(R"({"command":"TERMINATE_CLIENT"})"));
    session.reset();
    memory.application().runPending();
    lose("gone");
    EXPECT_EQ(happened(), Events());
}
