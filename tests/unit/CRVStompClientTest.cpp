// SPDX-License-Identifier: MIT
// What a STOMP client says and hears.
#include "tests/support/StompClientTest.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

class CRVStompClientTest : public StompClientTest { };

const std::string connectFrame
    = "sent: " + frameText("CONNECT\naccept-version:1.0,1.1,1.2\nhost:h\nheart-beat:10000,10000");

} // namespace

TEST_F(CRVStompClientTest, AutoconnectOpensTheWebSocketAtOnce) {
    const auto client = makeClient();
    EXPECT_THAT(happened(), ElementsAre("connect: h:443/room/r"));
    EXPECT_TRUE(server().request.secure);
    EXPECT_THAT(server().request.subprotocols, ElementsAre("v12.stomp", "v11.stomp"));
}

TEST_F(CRVStompClientTest, WithoutAutoconnectNothingHappensBeforeConnect) {
    const auto client = makeClient("/p", /*autoconnect=*/false);
    EXPECT_THAT(happened(), ElementsAre());
    client->connect();
    client->connect();
    EXPECT_THAT(happened(), ElementsAre("connect: h:443/p"));
}

TEST_F(CRVStompClientTest, RequestTargetIsThePathEncoded) {
    const std::pair<std::optional<std::string>, const char*> cases[] = {
        {std::nullopt, "/"},
        {"", "/"},
        {"/a/room/r", "/a/room/r"},
        {"/a b/room/r%1?\xC3\xA9#", "/a%20b/room/r%251%3F%C3%A9%23"},
    };
    for (const auto& [url, target] : cases) {
        makeClient(url);
        EXPECT_EQ(memory.network().webSockets.back()->request.target, target);
    }
}

TEST_F(CRVStompClientTest, ConnectFrameOffersVersionsAndNamesTheHost) {
    const auto client = makeClient();
    forget();
    open();
    EXPECT_THAT(happened(), ElementsAre(connectFrame));
}

TEST_F(CRVStompClientTest, LoginAndPasscodeAreSentUnescaped) {
    const auto client = CRVStompClient::initWithHost(
        "h", 443, std::nullopt, "me:\\", "secret", m_delegate, true, true);
    open();
    EXPECT_THAT(server().sent,
        ElementsAre(frameText(
            "CONNECT\naccept-version:1.0,1.1,1.2\nhost:h\nheart-beat:10000,10000\nlogin:me:\\"
            "\npasscode:secret")));
}

TEST_F(CRVStompClientTest, DelegateIsToldOfTheConnectionOnceTheServerAcceptsIt) {
    for (const char* head : {"CONNECTED\nversion:1.2", "CONNECTED\nversion:1.1",
             "CONNECTED\nversion:1.0", "CONNECTED", "CONNECTED\nversion:1.2\nversion:9"}) {
        const auto client = makeClient();
        open();
        forget();
        receive(frameText(head));
        EXPECT_THAT(happened(), ElementsAre("did connect")) << head;
    }
}

TEST_F(CRVStompClientTest, ConnectedFrameCountsNotTheSubprotocol) {
    m_client = makeClient();
    open("v12.stomp");
    receive(connectedText("1.0"));
    forget();
    m_client->sendMessage("x", "a:b");
    EXPECT_THAT(happened(),
        ElementsAre("sent: " + frameText("SEND\ndestination:a:b\ncontent-length:1", "x")));
}

TEST_F(CRVStompClientTest, HeadersAreWrittenAndReadAsTheVersionSays) {
    const struct {
        const char* version;
        const char* written;
        const char* read;
    } cases[]
        = {{"1.0", "a:b\\", "x\\cy"}, {"1.1", "a\\cb\\\\", "x:y"}, {"1.2", "a\\cb\\\\", "x:y"}};
    for (const auto& [version, written, read] : cases) {
        establish(version);
        m_client->subscribeToDestination("a:b\\", {});
        receive(frameText("MESSAGE\nh:x\\cy", "b"));
        EXPECT_THAT(happened(),
            ElementsAre(
                std::string("sent: ") + frameText(std::string("SUBSCRIBE\ndestination:") + written),
                "message: b" + nul + "|h=" + read));
    }
}

TEST_F(CRVStompClientTest, ServerThatNamesNoVersionSpeaksTheFirst) {
    m_client = makeClient();
    open();
    receive(frameText("CONNECTED"));
    forget();
    m_client->subscribeToDestination("a:b", {});
    receive(frameText("MESSAGE\nh:x\\ty", "b"));
    EXPECT_THAT(happened(),
        ElementsAre(
            "sent: " + frameText("SUBSCRIBE\ndestination:a:b"), "message: b" + nul + "|h=x\\ty"));
}

TEST_F(CRVStompClientTest, SubscriptionCarriesTheHeadersThatHaveAValue) {
    establish();
    m_client->subscribeToDestination(
        "/topic/x", {{"id", "sub-0"}, {"none", std::nullopt}, {"empty", ""}});
    EXPECT_THAT(happened(),
        ElementsAre("sent: " + frameText("SUBSCRIBE\ndestination:/topic/x\nid:sub-0\nempty:")));
}

TEST_F(CRVStompClientTest, MessageIsSentWithItsLengthInBytes) {
    establish();
    m_client->sendMessage("\xC3\xA9" + nul, "/app/x");
    m_client->sendMessage(std::nullopt, "/app/x");
    EXPECT_THAT(happened(),
        ElementsAre(
            "sent: " + frameText("SEND\ndestination:/app/x\ncontent-length:3", "\xC3\xA9" + nul),
            "sent: " + frameText("SEND\ndestination:/app/x\ncontent-length:0")));
}

TEST_F(CRVStompClientTest, TargetIsEncodedAndDestinationIsNot) {
    m_client = makeClient("/a b/room/r 1");
    open();
    receive(connectedText());
    forget();
    m_client->sendMessage("x", "/app/room/r 1");
    EXPECT_EQ(server().request.target, "/a%20b/room/r%201");
    EXPECT_THAT(happened(),
        ElementsAre(
            "sent: " + frameText("SEND\ndestination:/app/room/r 1\ncontent-length:1", "x")));
}

TEST_F(CRVStompClientTest, NothingIsSentButInAConnection) {
    const auto trySending = [this] {
        m_client->subscribeToDestination("/topic/x", {});
        m_client->sendMessage("x", "/app/x");
        EXPECT_THAT(happened(),
            ElementsAre("log: Not connected, STOMP frame not sent: SUBSCRIBE",
                "log: Not connected, STOMP frame not sent: SEND"));
    };
    m_client = makeClient("/p", /*autoconnect=*/false);
    trySending();
    m_client->connect();
    forget();
    trySending();
    open();
    forget();
    trySending();
    lose("gone");
    forget();
    trySending();
}

TEST_F(CRVStompClientTest, MessageBodyEndsInItsTerminator) {
    establish();
    receive(frameText("MESSAGE\na:1\na:2", "body"));
    receive(frameText("MESSAGE"));
    receive(frameText("MESSAGE\ncontent-length:2", nul + "x"));
    EXPECT_THAT(happened(),
        ElementsAre("message: body" + nul + "|a=1|a=2", "message: " + nul,
            "message: " + nul + "x" + nul + "|content-length=2"));
}

TEST_F(CRVStompClientTest, SeveralFramesInOneChunkAreToldInOrder) {
    m_client = makeClient();
    open();
    forget();
    receive(connectedText() + "\n" + messageText("1") + messageText("2")
        + frameText("RECEIPT\nreceipt-id:7"));
    EXPECT_THAT(happened(),
        ElementsAre("did connect", "message: 1" + nul + "|destination=/topic/room/r",
            "message: 2" + nul + "|destination=/topic/room/r", "receipt: 7"));
}

TEST_F(CRVStompClientTest, SessionMayBeCutAtEveryByte) {
    const std::string session = connectedText() + "\r\n" + messageText("one") + "\n"
        + frameText("MESSAGE\r\nh:a\\cb\r\ncontent-length:3", "x" + nul + "y");
    const std::vector<std::string> expected{"did connect",
        "message: one" + nul + "|destination=/topic/room/r",
        "message: x" + nul + "y" + nul + "|h=a:b|content-length=3"};
    for (std::size_t cut = 0; cut <= session.size(); ++cut) {
        const auto client = makeClient();
        open();
        forget();
        receive(session.substr(0, cut));
        receive(session.substr(cut));
        ASSERT_THAT(happened(), ElementsAreArray(expected)) << cut;
    }
}

TEST_F(CRVStompClientTest, NothingIsHeardBeforeTheWebSocketIsOpen) {
    m_client = makeClient();
    forget();
    receive(connectedText() + messageText("1") + frameText("ERROR\nmessage:m"));
    EXPECT_THAT(happened(), ElementsAre());
    EXPECT_FALSE(server().closed);
}

TEST_F(CRVStompClientTest, LineFeedsBetweenFramesTellNothing) {
    establish();
    receive("\n");
    receive("\r\n\n");
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientTest, ReceiptWithoutIdTellsNothing) {
    establish();
    receive(frameText("RECEIPT\nid:1"));
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientTest, UnknownFramesAreLoggedAndIgnored) {
    establish();
    receive(frameText("PING\na:b", "c") + frameText("message") + connectedText("9"));
    EXPECT_THAT(happened(),
        ElementsAre("log: Ignoring STOMP frame: PING", "log: Ignoring STOMP frame: message",
            "log: Ignoring STOMP frame: CONNECTED"));
    EXPECT_FALSE(server().closed);
}

TEST_F(CRVStompClientTest, DelegateMaySendInsideACallback) {
    m_delegate->onConnect
        = [](CRVStompClient& client) { client.subscribeToDestination("/topic/x", {}); };
    m_client = makeClient();
    open();
    forget();
    receive(connectedText() + messageText("1"));
    EXPECT_THAT(happened(),
        ElementsAre("did connect", "sent: " + frameText("SUBSCRIBE\ndestination:/topic/x"),
            "message: 1" + nul + "|destination=/topic/room/r"));
}
