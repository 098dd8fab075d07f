// SPDX-License-Identifier: MIT
// How the sessions of a STOMP client end.
#include "tests/support/StompClientTest.h"

using testing::ElementsAre;

namespace {

class CRVStompClientEndTest : public StompClientTest { };

const std::string protocolBroken = "the server broke the STOMP protocol: ";

} // namespace

TEST_F(CRVStompClientEndTest, VersionThatWasNotOfferedIsRefused) {
    for (const std::string version : {"1.3", "2.0", "", "1.2 ", "1.0,1.1"}) {
        const auto client = makeClient();
        open();
        forget();
        receive(connectedText(version) + messageText("a"));
        expectEnd(couldNotConnect,
            "the server chose STOMP version " + version + ", which was not offered");
    }
}

TEST_F(CRVStompClientEndTest, HeaderThatTheVersionCannotExpressEndsTheConnection) {
    const std::tuple<const char*, std::string, const char*> cases[]
        = {{"1.0", "a\nb", "1.0"}, {"1.1", "a\rb", "1.1"}, {"1.2", "a" + nul, "1.2"}};
    for (const auto& [version, destination, versionText] : cases) {
        establish(version);
        m_client->sendMessage("x", destination);
        expectEnd(connectionLost,
            std::string("a header of the frame SEND cannot be written in STOMP ") + versionText);
    }
}

TEST_F(CRVStompClientEndTest, ErrorFrameEndsTheSessionThroughTheDelegate) {
    const std::pair<std::string, const char*> cases[] = {
        {frameText("ERROR\nmessage:m\nmessage:n", "details"), "error: m | details"},
        {frameText("ERROR\nmessage:"), "error:  | "}, {frameText("ERROR", "d"), "error: nil | d"}};
    for (const auto& [error, expected] : cases) {
        establish();
        receive(error + messageText("more"));
        receive(messageText("more"));
        lose("closed");
        EXPECT_THAT(happened(), ElementsAre(expected));
        EXPECT_TRUE(server().closed);
    }
}

TEST_F(CRVStompClientEndTest, ErrorFrameMayAnswerTheConnect) {
    m_client = makeClient();
    open();
    forget();
    receive(frameText("ERROR\nversion:1.2\nmessage:not supported", "1.9 only") + connectedText());
    EXPECT_THAT(happened(), ElementsAre("error: not supported | 1.9 only"));
    EXPECT_TRUE(server().closed);
}

TEST_F(CRVStompClientEndTest, ErrorBeforeConnectedIsReadWhateverItsEscapes) {
    const std::pair<const char*, const char*> cases[]
        = {{"a\\tb", "a\\tb"}, {"C:\\dir\\", "C:\\dir\\"}, {"1\\c2\\r\\\\", "1:2\r\\"}};
    for (const auto& [written, read] : cases) {
        m_client = makeClient();
        open();
        forget();
        receive(frameText(std::string("ERROR\nmessage:") + written, "d"));
        EXPECT_THAT(happened(), ElementsAre(std::string("error: ") + read + " | d"));
    }
}

TEST_F(CRVStompClientEndTest, ErrorIsToldWhateverItsHeadersHold) {
    const std::string largest(65'535 - std::string("message:").size(), 'x');
    const std::pair<std::string, std::string> cases[]
        = {{"C:\\temp", "C:\\temp"}, {"a\\", "a\\"}, {"1\\c2\\\\t", "1:2\\t"}, {largest, largest}};
    for (const std::string version : {"1.1", "1.2"}) {
        for (const auto& [written, read] : cases) {
            establish(version);
            receive(frameText("ERROR\nmessage:" + written, "d"));
            EXPECT_THAT(happened(), ElementsAre("error: " + read + " | d")) << version;
            EXPECT_TRUE(server().closed);
        }
    }
}

TEST_F(CRVStompClientEndTest, OtherFramesBeforeConnectedEndTheConnection) {
    for (const std::string command : {"MESSAGE", "RECEIPT", "HELLO"}) {
        m_client = makeClient();
        open();
        forget();
        receive(frameText(command + "\nreceipt-id:1") + connectedText());
        expectEnd(couldNotConnect, "the server sent " + command + " before CONNECTED");
    }
}

TEST_F(CRVStompClientEndTest, BrokenProtocolBeforeConnectedIsAFailedConnection) {
    m_client = makeClient();
    open();
    forget();
    receive("HTTP/1.1 400\nBad Request\n");
    expectEnd(couldNotConnect, protocolBroken + "a header line is not of the form name:value");
}

TEST_F(CRVStompClientEndTest, BrokenProtocolAfterConnectedIsALostConnection) {
    const std::pair<std::string, const char*> cases[] = {
        {frameText("MESSAGE\nh:\\t"), "a header line holds an unknown escape sequence"},
        {"MESSAGE\n" + std::string(70'000, 'a'), "a header line is longer than 65536 bytes"},
        {frameText("MESSAGE\ncontent-length:268435457"),
            "the body of a frame is larger than 268435456 bytes"},
    };
    for (const auto& [text, error] : cases) {
        establish();
        receive(text);
        expectEnd(connectionLost, protocolBroken + error);
        receive(messageText("more"));
        EXPECT_THAT(happened(), ElementsAre());
    }
}

TEST_F(CRVStompClientEndTest, FailureBeforeConnectedIsAFailedConnection) {
    m_client = makeClient();
    forget();
    lose("name h could not be found");
    expectEnd(couldNotConnect, "name h could not be found");
    m_client = makeClient();
    open();
    forget();
    lose("the server closed");
    expectEnd(couldNotConnect, "the server closed");
}

TEST_F(CRVStompClientEndTest, FailureAfterConnectedIsALostConnectionToldOnce) {
    establish();
    lose("the server closed");
    expectEnd(connectionLost, "the server closed");
    lose("again");
    receive(messageText("more"));
    open();
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientEndTest, LogNamesSchemeHostAndPort) {
    m_client = CRVStompClient::initWithHost("[::1]", 8080, std::nullopt, std::nullopt, std::nullopt,
        m_delegate, /*autoconnect=*/true, /*wss=*/false);
    EXPECT_FALSE(server().request.secure);
    forget();
    lose("refused");
    expectEnd("Could not connect to ws://[::1]:8080: ", "refused");
}

TEST_F(CRVStompClientEndTest, LostConnectionIsNotMadeAgain) {
    establish();
    lose("gone");
    m_client->connect();
    EXPECT_EQ(memory.network().webSockets.size(), 1U);
}

TEST_F(CRVStompClientEndTest, DroppedClientTellsItsDelegateNothing) {
    establish();
    server().receive(messageText("pending"));
    m_client.reset();
    memory.application().runPending();
    receive(messageText("later"));
    lose("gone");
    EXPECT_THAT(happened(), ElementsAre());
}

TEST_F(CRVStompClientEndTest, WithoutADelegateEventsPassUnheard) {
    establish();
    m_delegate.reset();
    receive(messageText("a") + frameText("RECEIPT\nreceipt-id:1"));
    EXPECT_THAT(happened(), ElementsAre());
    lose("gone");
    EXPECT_THAT(happened(), ElementsAre("log: " + connectionLost + "gone"));
}

TEST_F(CRVStompClientEndTest, DelegateMayGoInsideACallback) {
    establish();
    m_delegate->onMessage = [this] { m_delegate.reset(); };
    receive(messageText("1") + messageText("2"));
    EXPECT_THAT(happened(), ElementsAre("message: 1" + nul + "|destination=/topic/room/r"));
}

TEST_F(CRVStompClientEndTest, ClientAndDelegateMayGoTogetherInsideACallback) {
    establish();
    m_delegate->onMessage = [this] {
        m_client.reset();
        m_delegate.reset();
    };
    receive(messageText("1") + messageText("2"));
    receive(messageText("3"));
    EXPECT_THAT(happened(), ElementsAre("message: 1" + nul + "|destination=/topic/room/r"));
}
