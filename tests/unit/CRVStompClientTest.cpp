// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/CRVStompClient.h"

#include "tests/support/MemoryPlatform.h"
#include "tests/support/RecordingStompDelegate.h"
#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

class CRVStompClientTest : public testing::Test {
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
            ElementsAre("log: " + label + reason, "will disconnect: " + reason, "did disconnect"));
        EXPECT_TRUE(server().closed);
    }

    MemoryPlatform m_platform;
    std::shared_ptr<RecordingDelegate> m_delegate
        = std::make_shared<RecordingDelegate>(m_platform.trace);
    std::shared_ptr<CRVStompClient> m_client;
};

const std::string couldNotConnect = "Could not connect to wss://h:443: ";
const std::string connectionLost = "Connection to wss://h:443 lost: ";
const std::string protocolBroken = "the server broke the STOMP protocol: ";
const std::string connectFrame
    = "sent: " + frameText("CONNECT\naccept-version:1.0,1.1,1.2\nhost:h");

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
        EXPECT_EQ(m_platform.network().webSockets.back()->request.target, target);
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
        ElementsAre(frameText("CONNECT\naccept-version:1.0,1.1,1.2\nhost:h\nlogin:me:\\"
                              "\npasscode:secret")));
}

TEST_F(CRVStompClientTest, DelegateIsToldOfTheConnectionOnceTheServerAcceptsIt) {
    for (const char* head : {"CONNECTED\nversion:1.2", "CONNECTED\nversion:1.1",
             "CONNECTED\nversion:1.0", "CONNECTED", "CONNECTED\nversion:1.2\nversion:9"}) {
        m_platform.network().webSockets.clear();
        const auto client = makeClient();
        open();
        forget();
        receive(frameText(head));
        EXPECT_THAT(happened(), ElementsAre("did connect")) << head;
    }
}

TEST_F(CRVStompClientTest, VersionThatWasNotOfferedIsRefused) {
    for (const std::string version : {"1.3", "2.0", "", "1.2 ", "1.0,1.1"}) {
        m_platform.network().webSockets.clear();
        const auto client = makeClient();
        open();
        forget();
        receive(connectedText(version) + messageText("a"));
        expectEnd(couldNotConnect,
            "the server chose STOMP version " + version + ", which was not offered");
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
        m_platform.network().webSockets.clear();
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

TEST_F(CRVStompClientTest, HeaderThatTheVersionCannotExpressEndsTheConnection) {
    const std::tuple<const char*, std::string, const char*> cases[]
        = {{"1.0", "a\nb", "1.0"}, {"1.1", "a\rb", "1.1"}, {"1.2", "a" + nul, "1.2"}};
    for (const auto& [version, destination, versionText] : cases) {
        m_platform.network().webSockets.clear();
        establish(version);
        m_client->sendMessage("x", destination);
        expectEnd(connectionLost,
            std::string("a header of the frame SEND cannot be written in STOMP ") + versionText);
    }
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
        m_platform.network().webSockets.clear();
        const auto client = makeClient();
        open();
        forget();
        receive(session.substr(0, cut));
        receive(session.substr(cut));
        ASSERT_THAT(happened(), ElementsAreArray(expected)) << cut;
    }
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

TEST_F(CRVStompClientTest, ErrorFrameEndsTheSessionThroughTheDelegate) {
    const std::pair<std::string, const char*> cases[] = {
        {frameText("ERROR\nmessage:m\nmessage:n", "details"), "error: m | details"},
        {frameText("ERROR\nmessage:"), "error:  | "}, {frameText("ERROR", "d"), "error: nil | d"}};
    for (const auto& [error, expected] : cases) {
        m_platform.network().webSockets.clear();
        establish();
        receive(error + messageText("more"));
        receive(messageText("more"));
        lose("closed");
        EXPECT_THAT(happened(), ElementsAre(expected));
        EXPECT_TRUE(server().closed);
    }
}

TEST_F(CRVStompClientTest, ErrorFrameMayAnswerTheConnect) {
    m_client = makeClient();
    open();
    forget();
    receive(frameText("ERROR\nversion:1.2\nmessage:not supported", "1.9 only") + connectedText());
    EXPECT_THAT(happened(), ElementsAre("error: not supported | 1.9 only"));
    EXPECT_TRUE(server().closed);
}

TEST_F(CRVStompClientTest, OtherFramesBeforeConnectedEndTheConnection) {
    for (const std::string command : {"MESSAGE", "RECEIPT", "HELLO"}) {
        m_platform.network().webSockets.clear();
        m_client = makeClient();
        open();
        forget();
        receive(frameText(command + "\nreceipt-id:1") + connectedText());
        expectEnd(couldNotConnect, "the server sent " + command + " before CONNECTED");
    }
}

TEST_F(CRVStompClientTest, BrokenProtocolBeforeConnectedIsAFailedConnection) {
    m_client = makeClient();
    open();
    forget();
    receive("HTTP/1.1 400\nBad Request\n");
    expectEnd(couldNotConnect, protocolBroken + "a header line is not of the form name:value");
}

TEST_F(CRVStompClientTest, BrokenProtocolAfterConnectedIsALostConnection) {
    const std::pair<std::string, const char*> cases[] = {
        {frameText("MESSAGE\nh:\\t"), "a header line holds an unknown escape sequence"},
        {"MESSAGE\n" + std::string(10'000, 'a'), "a header line is longer than 8192 bytes"},
        {frameText("MESSAGE\ncontent-length:268435457"),
            "the body of a frame is larger than 268435456 bytes"},
    };
    for (const auto& [text, error] : cases) {
        m_platform.network().webSockets.clear();
        establish();
        receive(text);
        expectEnd(connectionLost, protocolBroken + error);
        receive(messageText("more"));
        EXPECT_THAT(happened(), ElementsAre());
    }
}

TEST_F(CRVStompClientTest, FailureBeforeConnectedIsAFailedConnection) {
    m_client = makeClient();
    forget();
    lose("name h could not be found");
    expectEnd(couldNotConnect, "name h could not be found");
    m_platform.network().webSockets.clear();
    m_client = makeClient();
    open();
    forget();
    lose("the server closed");
    expectEnd(couldNotConnect, "the server closed");
}

TEST_F(CRVStompClientTest, FailureAfterConnectedIsALostConnectionToldOnce) {
    establish();
    lose("the server closed");
    expectEnd(connectionLost, "the server closed");
    lose("again");
    receive(messageText("more"));
    open();
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientTest, LogNamesSchemeHostAndPort) {
    m_client = CRVStompClient::initWithHost("[::1]", 8080, std::nullopt, std::nullopt, std::nullopt,
        m_delegate, /*autoconnect=*/true, /*wss=*/false);
    EXPECT_FALSE(server().request.secure);
    forget();
    lose("refused");
    expectEnd("Could not connect to ws://[::1]:8080: ", "refused");
}

TEST_F(CRVStompClientTest, LostConnectionIsNotMadeAgain) {
    establish();
    lose("gone");
    m_client->connect();
    EXPECT_EQ(m_platform.network().webSockets.size(), 1U);
}

TEST_F(CRVStompClientTest, DroppedClientTellsItsDelegateNothing) {
    establish();
    server().receive(messageText("pending"));
    m_client.reset();
    m_platform.application().runPending();
    receive(messageText("later"));
    lose("gone");
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientTest, WithoutADelegateEventsPassUnheard) {
    establish();
    m_delegate.reset();
    receive(messageText("a") + frameText("RECEIPT\nreceipt-id:1"));
    EXPECT_THAT(happened(), ElementsAre());
    lose("gone");
    EXPECT_THAT(happened(), ElementsAre("log: " + connectionLost + "gone"));
}

TEST_F(CRVStompClientTest, DelegateMayGoInsideACallback) {
    establish();
    m_delegate->onMessage = [this] { m_delegate.reset(); };
    receive(messageText("1") + messageText("2"));
    EXPECT_THAT(happened(), ElementsAre("message: 1" + nul + "|destination=/topic/room/r"));
}

TEST_F(CRVStompClientTest, ClientAndDelegateMayGoTogetherInsideACallback) {
    establish();
    m_delegate->onMessage = [this] {
        m_client.reset();
        m_delegate.reset();
    };
    receive(messageText("1") + messageText("2"));
    receive(messageText("3"));
    EXPECT_THAT(happened(), ElementsAre("message: 1" + nul + "|destination=/topic/room/r"));
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
