// SPDX-License-Identifier: MIT
#include "devserver/server/ServerState.h"
#include "tests/devserver/TestClient.h"
#include "tests/devserver/WebClient.h"

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

using stomp::Frame;

std::string headerOf(const Frame& frame, std::string_view name) {
    const std::string* value = frame.headers.find(name);
    return value != nullptr ? *value : "(none)";
}

class StompTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(server.start(), std::nullopt); }

    /// The answer to a CONNECT with these headers.
    Frame answerTo(const std::string& command, stomp::Headers headers) {
        if (!client.open(server, "/room/1") || !client.send({command, std::move(headers), {}})) {
            return {"(not opened)", {}, client.error};
        }
        return client.receive().value_or(Frame{"(nothing)", {}, {}});
    }

    Server server;
    TestClient client;
};

TEST_F(StompTest, WebSocketOpensOnlyOnARoom) {
    EXPECT_FALSE(client.open(server, "/rooms/1"));
    EXPECT_EQ(client.status, 404U);
    EXPECT_FALSE(client.open(server, "/room/%4"));
    EXPECT_EQ(client.status, 404U);
    EXPECT_TRUE(client.open(server, "/any/path/room/1")) << client.error;
}

TEST_F(StompTest, WebSocketOfAForeignPageIsRefused) {
    const auto upgrade = [&](const std::map<std::string, std::string>& headers) {
        std::map<std::string, std::string> all{{"Connection", "Upgrade"}, {"Upgrade", "websocket"},
            {"Sec-WebSocket-Version", "13"}, {"Sec-WebSocket-Key", "AAAAAAAAAAAAAAAAAAAAAA=="}};
        all.insert(headers.begin(), headers.end());
        return call(server.port(), server.authorityPem(), "GET", "/room/1", "", all).status;
    };
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(upgrade({}), 101U);
    EXPECT_EQ(upgrade({{"Origin", "https://localhost:" + port}}), 101U);
    EXPECT_EQ(upgrade({{"Origin", "https://evil.example"}}), 403U);
    EXPECT_EQ(upgrade({{"Origin", "http://localhost:" + port}}), 403U);
    EXPECT_EQ(upgrade({{"Origin", "null"}}), 403U);
}

TEST_F(StompTest, RequestsForAnotherNameAreRefused) {
    const auto status = [&](const std::string& host) {
        return call(server.port(), server.authorityPem(), "GET", "/update/version?os=macos", "",
            {{"Host", host}})
            .status;
    };
    for (const char* host : {"localhost", "LOCALHOST:1", "127.0.0.1:80", "[::1]", "[::1]:443"}) {
        EXPECT_EQ(status(host), 200U) << host;
    }
    for (const char* host : {"evil.example", "localhost.evil.example", "127.0.0.2", "[::2]", "[::1",
             "localhost@evil.example"}) {
        EXPECT_EQ(status(host), 421U) << host;
    }
}

TEST_F(StompTest, AgentThatDoesNotSubscribeInTimeIsSentAway) {
    Server impatient({.subscribeLimit = 100ms});
    ASSERT_EQ(impatient.start(), std::nullopt);
    ASSERT_TRUE(client.open(impatient, "/room/1"));
    client.send({"CONNECT", {{"accept-version", "1.2"}}, {}});
    Frame error = client.receive().value_or(Frame{});
    if (error.command == "CONNECTED") { // it need not have come that far
        error = client.receive().value_or(Frame{});
    }
    EXPECT_EQ(error.command, "ERROR");
    EXPECT_EQ(headerOf(error, "message"), "The room was not subscribed to in time");
}

TEST_F(StompTest, AgentThatSubscribesInTimeStays) {
    Server impatient({.subscribeLimit = 3s});
    ASSERT_EQ(impatient.start(), std::nullopt);
    ASSERT_TRUE(client.open(impatient, "/room/1"));
    client.send({"CONNECT", {{"accept-version", "1.2"}}, {}});
    client.send({"SUBSCRIBE", {{"destination", "/topic/room/1"}, {"id", "a"}}, {}});
    const auto session = impatient.waitForAnyAgent(10s);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(client.receive().value_or(Frame{}).command, "CONNECTED");
    EXPECT_FALSE(client.receive(3500ms).has_value());
    EXPECT_TRUE(session->isOpen());
}

TEST_F(StompTest, WhatNobodyReceivesIsNotKeptWithoutEnd) {
    Server small({.inboxLimit = 100'000});
    ASSERT_EQ(small.start(), std::nullopt);
    ASSERT_TRUE(client.open(small, "/room/1"));
    client.send({"CONNECT", {{"accept-version", "1.2"}}, {}});
    EXPECT_EQ(client.receive().value_or(Frame{}).command, "CONNECTED");
    for (int i = 0; i < 3; ++i) {
        client.send({"SEND", {{"destination", "/app/room/1"}}, std::string(40'000, 'x')});
    }
    EXPECT_EQ(
        headerOf(client.receive().value_or(Frame{}), "message"), "Too much waits to be received");
}

TEST_F(StompTest, SubscriptionsWithoutEndAreRefused) {
    ASSERT_TRUE(client.open(server, "/room/1"));
    client.send({"CONNECT", {{"accept-version", "1.2"}}, {}});
    EXPECT_EQ(client.receive().value_or(Frame{}).command, "CONNECTED");
    for (int i = 0; i <= 100; ++i) {
        client.send({"SUBSCRIBE", {{"destination", "/topic/x"}, {"id", std::to_string(i)}}, {}});
    }
    EXPECT_EQ(headerOf(client.receive().value_or(Frame{}), "message"), "Too many subscriptions");
}

TEST_F(StompTest, OnlyTheLatestRequestsAreRemembered) {
    ServerState state({});
    for (int i = 0; i < 1500; ++i) {
        state.record({"GET", std::to_string(i), {}});
    }
    const auto requests = state.requests();
    ASSERT_EQ(requests.size(), 1000U);
    EXPECT_EQ(requests.front().target, "500");
    EXPECT_EQ(requests.back().target, "1499");
}

TEST_F(StompTest, WebSocketIsRefusedAsScripted) {
    server.refuseWebSockets(HttpAnswer{403, "no", {}});
    EXPECT_FALSE(client.open(server, "/room/1"));
    EXPECT_EQ(client.status, 403U);
    server.refuseWebSockets(std::nullopt);
    EXPECT_TRUE(client.open(server, "/room/1")) << client.error;
}

TEST_F(StompTest, NewestOfferedSubprotocolIsPicked) {
    EXPECT_TRUE(client.open(server, "/room/1", "v11.stomp, v12.stomp, other"));
    EXPECT_EQ(client.subprotocol, "v12.stomp");
    EXPECT_TRUE(client.open(server, "/room/1"));
    EXPECT_EQ(client.subprotocol, "");
}

TEST_F(StompTest, HighestCommonVersionIsNegotiated) {
    EXPECT_EQ(headerOf(answerTo("CONNECT", {{"accept-version", "1.0,1.1,1.2"}}), "version"), "1.2");
    EXPECT_EQ(headerOf(answerTo("CONNECT", {{"accept-version", "1.0, 1.1,9"}}), "version"), "1.1");
    EXPECT_EQ(headerOf(answerTo("STOMP", {{"accept-version", "1.0"}}), "version"), "1.0");
    EXPECT_EQ(headerOf(answerTo("CONNECT", {}), "version"), "1.0");
}

TEST_F(StompTest, ConnectedTellsServerAndNoHeartBeats) {
    const Frame connected = answerTo("CONNECT", {{"accept-version", "1.2"}});
    EXPECT_EQ(connected.command, "CONNECTED");
    EXPECT_EQ(headerOf(connected, "heart-beat"), "0,0");
    EXPECT_EQ(headerOf(connected, "server").find("quillet-devserver/"), 0U);
}

TEST_F(StompTest, ClientWithoutCommonVersionGetsErrorAndIsClosed) {
    const Frame error = answerTo("CONNECT", {{"accept-version", "2.0"}});
    EXPECT_EQ(error.command, "ERROR");
    EXPECT_EQ(headerOf(error, "version"), "1.2,1.1,1.0");
    EXPECT_EQ(client.waitForClose(), 1002U);
}

TEST_F(StompTest, FrameBeforeConnectIsAnError) {
    ASSERT_TRUE(client.open(server, "/room/1"));
    ASSERT_TRUE(client.send(subscription("1")));
    const std::optional<Frame> error = client.receive();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->command, "ERROR");
    EXPECT_EQ(headerOf(*error, "message"), "The first frame is not CONNECT");
    EXPECT_EQ(client.waitForClose(), 1002U);
}

TEST_F(StompTest, BrokenFrameIsAnError) {
    ASSERT_TRUE(client.join(server, "1"));
    ASSERT_TRUE(client.sendText(std::string("SEND\nno colon\n\n\0", 16)));
    const std::optional<Frame> error = client.receive();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->command, "ERROR");
    EXPECT_EQ(client.waitForClose(), 1002U);
}

TEST_F(StompTest, UnknownCommandIsAnError) {
    ASSERT_TRUE(client.join(server, "1"));
    ASSERT_TRUE(client.send({"SHOUT", {}, {}}));
    const std::optional<Frame> error = client.receive();
    ASSERT_TRUE(error);
    EXPECT_EQ(headerOf(*error, "message"), "Unknown command SHOUT");
}

TEST_F(StompTest, AgentIsAnnouncedOnceItSubscribesToItsRoom) {
    ASSERT_EQ(answerTo("CONNECT", {{"accept-version", "1.2"}, {"host", "h"}}).command, "CONNECTED");
    EXPECT_EQ(server.waitForAgent("1", 0ms), nullptr);
    // The receipt proves that the subscription has been handled.
    ASSERT_TRUE(client.send(
        {"SUBSCRIBE", {{"destination", "/topic/room/2"}, {"id", "x"}, {"receipt", "r1"}}, {}}));
    const std::optional<Frame> receipt = client.receive();
    ASSERT_TRUE(receipt);
    EXPECT_EQ(receipt->command, "RECEIPT");
    EXPECT_EQ(headerOf(*receipt, "receipt-id"), "r1");
    EXPECT_EQ(server.waitForAgent("1", 0ms), nullptr);
    ASSERT_TRUE(client.send(subscription("1")));
    const auto session = server.waitForAgent("1", patience);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->room(), "1");
    EXPECT_EQ(server.waitForAgent("1", 0ms), nullptr) << "an agent is handed out once";
}

TEST_F(StompTest, HandshakeIsRecordedForTheScript) {
    ASSERT_TRUE(client.open(server, "/p%C3%A4th/room/a%20b?x=1", "v12.stomp"));
    ASSERT_TRUE(client.send(
        {"CONNECT", {{"accept-version", "1.2,1.1"}, {"host", "h:1"}, {"heart-beat", "1,2"}}, {}}));
    ASSERT_TRUE(client.receive());
    ASSERT_TRUE(client.send({"SUBSCRIBE",
        {{"destination", "/topic/room/a b"}, {"id", "sub-0"}, {"x-source", "c:d"}}, {}}));
    const auto session = server.waitForAgent("a b", patience);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->upgradeRequest().target, "/p%C3%A4th/room/a%20b?x=1");
    ASSERT_NE(session->upgradeRequest().header("sec-websocket-protocol"), nullptr);
    EXPECT_EQ(*session->upgradeRequest().header("sec-websocket-protocol"), "v12.stomp");
    EXPECT_EQ(headerOf(session->connectFrame(), "heart-beat"), "1,2");
    EXPECT_EQ(session->version(), stomp::Version::v1_2);
    ASSERT_EQ(session->subscribeFrames().size(), 1U);
    EXPECT_EQ(headerOf(session->subscribeFrames()[0], "x-source"), "c:d");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(StompTest, DisconnectIsConfirmedAndClosed) {
    ASSERT_TRUE(client.join(server, "1"));
    const auto session = server.waitForAgent("1", patience);
    ASSERT_NE(session, nullptr);
    ASSERT_TRUE(client.send({"DISCONNECT", {{"receipt", "bye"}}, {}}));
    const std::optional<Frame> receipt = client.receive();
    ASSERT_TRUE(receipt);
    EXPECT_EQ(headerOf(*receipt, "receipt-id"), "bye");
    EXPECT_EQ(client.waitForClose(), 1000U);
    const std::optional<CloseInfo> end = session->waitForClose(patience);
    ASSERT_TRUE(end);
    EXPECT_TRUE(end->handshake);
}

TEST_F(StompTest, UnsubscribedAgentIsPostedNothing) {
    ASSERT_TRUE(client.join(server, "1"));
    const auto session = server.waitForAgent("1", patience);
    ASSERT_NE(session, nullptr);
    ASSERT_TRUE(client.send({"UNSUBSCRIBE", {{"id", "sub-0"}, {"receipt", "r"}}, {}}));
    ASSERT_TRUE(client.receive());
    EXPECT_FALSE(session->sendCommand("SERVER_CONNECT"));
    EXPECT_TRUE(session->isOpen());
}

} // namespace
} // namespace devserver::test
