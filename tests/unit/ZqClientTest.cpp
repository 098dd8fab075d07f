// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqClient.h"

#include "tests/support/SessionFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;
using testing::StartsWith;

namespace {

class ZqClientTest : public SessionFixture { };

const std::string greetingReply = R"({"command":"CLIENT_CONNECT","payload":null,"requestId":null})";

} // namespace

TEST_F(ZqClientTest, StartsWithoutRoomAndConnection) {
    EXPECT_FALSE(m_session->roomId());
    EXPECT_EQ(m_session->client(), nullptr);
    EXPECT_EQ(happened(), Events());
}

TEST_F(ZqClientTest, NeedsAView) {
    EXPECT_EQ(endOf([] { ZqClient client(nullptr); }), "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, ConnectLogsAndStartsASecureConnection) {
    connect();
    EXPECT_EQ(m_session->roomId(), "r1");
    ASSERT_NE(m_session->client(), nullptr);
    EXPECT_EQ(happened(),
        (Events{"log: Connecting to Quillet server h:8443", "connect: h:8443/p/room/r1"}));
    EXPECT_TRUE(server().request.secure);
    server().open();
    m_platform.application().runPending();
    EXPECT_EQ(happened(),
        Events{"sent: "
            + frameText("CONNECT\naccept-version:1.0,1.1,1.2\nhost:h\nheart-beat:10000,10000")});
}

TEST_F(ZqClientTest, UrlAndRoomMayBeAbsentWhenConnecting) {
    m_session->connect("h", 1, std::nullopt, "r1");
    EXPECT_EQ(happened(), (Events{"log: Connecting to Quillet server h:1", "connect: h:1/"}));
    m_session->connect("h", 2, "/x", std::nullopt);
    EXPECT_FALSE(m_session->roomId());
    EXPECT_EQ(happened(), (Events{"log: Connecting to Quillet server h:2", "connect: h:2/x"}));
}

TEST_F(ZqClientTest, MissingHostOrPortIsFatalAfterTheRoomIsStored) {
    EXPECT_EQ(endOf([&] { m_session->connect(std::nullopt, 443, "/", "a"); }), "abort");
    EXPECT_EQ(m_session->roomId(), "a");
    expectFatalEnd({});
    EXPECT_EQ(endOf([&] { m_session->connect("h", std::nullopt, "/", "b"); }), "abort");
    EXPECT_EQ(m_session->roomId(), "b");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, ConnectedSessionNotifiesAndSubscribesOnceAndAwaitsTheGreeting) {
    connect();
    server().open();
    m_platform.application().runPending();
    forget();
    receive(connectedText());
    EXPECT_EQ(happened(),
        together({notification("Connected to Quillet server"),
            {"log: Subscribing to messages on room Optional(\"r1\")",
                "sent: "
                    + frameText("SUBSCRIBE\ndestination:/topic/room/r1\nx-source:zq_client"
                                "\nid:sub-0\nclient_version:1.9")}}));
}

TEST_F(ZqClientTest, VersionThatIsMissingOrNoTextIsLeftOutOfTheSubscription) {
    for (const bool isNumber : {false, true}) {
        m_platform.system().info.clear();
        if (isNumber) {
            m_platform.system().info.emplace("CFBundleShortVersionString", 7);
        }
        connect();
        m_platform.network().webSockets.back()->open();
        m_platform.network().webSockets.back()->receive(connectedText());
        m_platform.application().runPending();
        EXPECT_EQ(m_platform.trace.events().back(),
            "sent: "
                + frameText("SUBSCRIBE\ndestination:/topic/room/r1\nx-source:zq_client\nid:sub-0"));
    }
}

TEST_F(ZqClientTest, RoomIsSentAsItIsInDestinations) {
    connect("r 1/\xC3\xA9:2");
    server().open();
    receive(connectedText() + messageText(R"({"command":"SERVER_CONNECT"})"));
    const Events sent = m_platform.trace.withPrefix("sent: ");
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_THAT(sent[1], StartsWith("SUBSCRIBE\ndestination:/topic/room/r 1/\xC3\xA9\\c2\n"));
    EXPECT_THAT(sent[2], StartsWith("SEND\ndestination:/app/room/r 1/\xC3\xA9\\c2\n"));
}

TEST_F(ZqClientTest, SubscriptionWithoutRoomIsFatalAfterItsLogLine) {
    connect(std::nullopt);
    server().open();
    m_platform.application().runPending();
    forget();
    EXPECT_EQ(endOf([&] { receive(connectedText()); }), "abort");
    expectFatalEnd(together({notification("Connected to Quillet server"),
        {"log: Subscribing to messages on room nil"}}));
}

TEST_F(ZqClientTest, SubscriptionWithoutConnectionIsFatal) {
    connect();
    forget();
    EXPECT_EQ(endOf([&] { m_session->stompClientDidConnect(nullptr); }), "abort");
    expectFatalEnd(together({notification("Connected to Quillet server"),
        {"log: Subscribing to messages on room Optional(\"r1\")"}}));
}

TEST_F(ZqClientTest, GreetingIsAnsweredEachTimeWithNulls) {
    establish();
    for (const char* json : {R"({"command":"SERVER_CONNECT"})",
             R"({"command":"SERVER_CONNECT","payload":{"a":1},"requestId":"r7"})"}) {
        receive(messageText(json));
        EXPECT_EQ(happened(),
            together({receivedLines(json, "SERVER_CONNECT"),
                {"log: Sending message: CLIENT_CONNECT nil nil", sentToRoom(greetingReply)}}));
    }
}

TEST_F(ZqClientTest, TerminateAndDisconnectExitWithoutReply) {
    for (const std::string command : {"TERMINATE_CLIENT", "SERVER_DISCONNECT"}) {
        m_platform.network().webSockets.clear();
        establish();
        const std::string json = "{\"command\":\"" + command + "\"}";
        EXPECT_EQ(endOfCommand(json), "exit 0");
        EXPECT_EQ(happened(),
            together({receivedLines(json, command),
                {"log: " + command + " received - exiting", "exit: 0"}}));
    }
}

TEST_F(ZqClientTest, OtherCommandsAreLoggedAndIgnored) {
    establish();
    for (const std::string command : {"server_connect", "Server_Connect", "", " SERVER_CONNECT",
             "SERVER_CONNECT ", "terminate_client", "CLIENT_CONNECT", "SIGN", "\xC3\xA9"}) {
        const std::string json = "{\"command\":\"" + command + "\"}";
        EXPECT_EQ(endOfCommand(json), "runs on");
        EXPECT_EQ(happened(),
            together({receivedLines(json, command), {"log: Ignoring command: " + command}}));
    }
}

TEST_F(ZqClientTest, MessageWithoutBodyIsFatal) {
    establish();
    EXPECT_EQ(
        endOf([&] { m_session->messageReceived(m_session->client().get(), std::nullopt, {}); }),
        "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, MalformedMessageIsLoggedAndEndsInItsAlert) {
    establish();
    EXPECT_EQ(endOfCommand(R"({"payload":1})"), "exit 1");
    EXPECT_EQ(happened(),
        (Events{"log: STOMP message received: {\"payload\":1}" + nul,
            "log: FATAL ERROR: Malformed server message received, details: "
            "Message command missing",
            "alert: Malformed server message received | Message command missing", "dismissed",
            "log: Exiting application after fatal error", "exit: 1"}));
}

TEST_F(ZqClientTest, AnswersGoThroughTheConnectionThatDelivered) {
    establish();
    m_session->connect("other", 1, "/", "r1"); // the session's own connection is another one now
    forget();
    const auto first = CRVStompClient::initWithHost(
        "first", 2, "/", std::nullopt, std::nullopt, m_session, true, true);
    MemoryWebSocket& socket = *m_platform.network().webSockets.back();
    socket.open();
    socket.receive(connectedText() + messageText(R"({"command":"SERVER_CONNECT"})"));
    m_platform.application().runPending();
    EXPECT_EQ(socket.sent.size(), 3U);
    EXPECT_EQ(m_platform.network().webSockets.at(1)->sent, Events());
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
        m_session->send(m_session->client().get(), &message);
        EXPECT_EQ(happened(),
            (Events{std::string("log: Sending message: ") + line,
                sentToRoom(message.getBody().value().joined())}));
    }
}

TEST_F(ZqClientTest, SendNeedsMessageConnectionAndRoom) {
    establish();
    const auto connection = m_session->client();
    EXPECT_EQ(endOf([&] { m_session->send(connection.get(), nullptr); }), "abort");
    expectFatalEnd({});
    const ZqMessage message("X", std::nullopt, std::nullopt);
    EXPECT_EQ(endOf([&] { m_session->send(nullptr, &message); }), "abort");
    expectFatalEnd({"log: Sending message: X nil nil"});
    ZqClient roomless(&m_view);
    EXPECT_EQ(endOf([&] { roomless.send(connection.get(), &message); }), "abort");
    expectFatalEnd({"log: Sending message: X nil nil"});
}

TEST_F(ZqClientTest, LossOfTheConnectionExitsWithoutAlert) {
    establish();
    server().lose("the server closed");
    EXPECT_EQ(endOf([&] { m_platform.application().runPending(); }), "exit 0");
    EXPECT_EQ(happened(),
        (Events{"log: Connection to wss://h:8443 lost: the server closed",
            "log: STOMP client disconnected from server", "exit: 0"}));
}

TEST_F(ZqClientTest, ConnectionThatCannotBeMadeExitsTheSameWay) {
    connect();
    forget();
    server().lose("h refused the connection on port 8443");
    EXPECT_EQ(endOf([&] { m_platform.application().runPending(); }), "exit 0");
    EXPECT_EQ(happened(),
        (Events{"log: Could not connect to wss://h:8443: h refused the connection on port 8443",
            "log: STOMP client disconnected from server", "exit: 0"}));
}

TEST_F(ZqClientTest, ServerErrorIsShownAndEndsTheProcess) {
    establish();
    EXPECT_EQ(
        endOf([&] { receive(frameText("ERROR\nmessage:No room", "It is closed")); }), "exit 1");
    EXPECT_EQ(happened(),
        (Events{"log: FATAL ERROR: No room, details: It is closed", "alert: No room | It is closed",
            "dismissed", "log: Exiting application after fatal error", "exit: 1"}));
    EXPECT_EQ(m_platform.userInterface().alerts.at(0).alertStyle, platform::NSAlertStyle::critical);
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
        endOf([&] { m_session->serverDidSendError(nullptr, "message", std::nullopt); }), "abort");
    expectFatalEnd({});
}

TEST_F(ZqClientTest, OptionalCallbacksAreNotHandled) {
    establish();
    m_session->stompClientWillDisconnect(nullptr, "error");
    m_session->serverDidSendPing(nullptr);
    receive(frameText("RECEIPT\nreceipt-id:1"));
    EXPECT_EQ(happened(), Events());
}

TEST_F(ZqClientTest, DroppedSessionIsTornDownInSilence) {
    establish();
    server().receive(messageText(R"({"command":"TERMINATE_CLIENT"})"));
    m_session.reset();
    m_platform.application().runPending();
    server().lose("gone");
    m_platform.application().runPending();
    EXPECT_EQ(happened(), Events());
}
