// SPDX-License-Identifier: MIT
#include "tests/platform-shared/MessageNetworkTest.h"

#include "platform/shared/ComparableHost.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

/// More than the connection takes in ahead of the program.
static const std::string large(std::size_t{1} << 20, 'x');

TEST_F(MessageNetworkTest, AddressIsMadeOfTheRequest) {
    const auto url = [this](const platform::WebSocketRequest& request) {
        m_network.openWebSocket(request, m_delegate);
        return task().url;
    };
    EXPECT_EQ(url({"host", 443, "/a%20b/room/1", true, {}}), "wss://host:443/a%20b/room/1");
    EXPECT_EQ(url({"[::1]", 8443, "/", true, {}}), "wss://[::1]:8443/");
    EXPECT_EQ(url({"a b", 80, "/", false, {}}), "ws://a%20b:80/");
}

TEST_F(MessageNetworkTest, SubprotocolsAreOfferedAndThePickedOneIsTold) {
    m_socket
        = m_network.openWebSocket({"host", 443, "/", true, {"v12.stomp", "v11.stomp"}}, m_delegate);
    EXPECT_EQ(task().subprotocols, (Texts{"v12.stomp", "v11.stomp"}));
    m_queue.run();
    EXPECT_EQ(task().calls, Texts{"resume"});
    task().delegate->taskDidOpen("v11.stomp");
    EXPECT_FALSE(m_delegate->opened);
    runAll();
    EXPECT_EQ(m_delegate->subprotocol, "v11.stomp");
    EXPECT_EQ(task().calls, (Texts{"resume", "receive"}));
}

TEST_F(MessageNetworkTest, NextMessageIsAskedForBeforeTheProgramHasTakenTheLast) {
    openAndAccept();
    arrive("first");
    arrive("second");
    EXPECT_TRUE(task().receiving);
    EXPECT_EQ(m_delegate->data, "");
    runAll();
    EXPECT_EQ(m_delegate->data, "firstsecond");
    EXPECT_EQ(m_delegate->pieces, 2);
}

TEST_F(MessageNetworkTest, MessageBeforeTheServersCloseIsTakenBeforeTheEndIsTold) {
    openAndAccept();
    arrive("RECEIPT");
    arrive("ERROR"); // the platform drops it if nobody has asked for it when the close comes
    task().delegate->taskDidEnd("the server closed the connection (1002)");
    m_queue.run();
    m_application.runPending();
    EXPECT_EQ(m_delegate->data, "RECEIPTERROR");
    EXPECT_EQ(m_delegate->reasons, Texts{"the server closed the connection (1002)"});
}

TEST_F(MessageNetworkTest, NothingIsReceivedWhileTooMuchWaitsToBeTaken) {
    openAndAccept();
    arrive(large);
    EXPECT_FALSE(task().receiving);
    runAll();
    EXPECT_TRUE(task().receiving);
    for (int i = 0; task().receiving && i < 10'000; ++i) {
        arrive(""); // a flood of nothing costs as well
    }
    EXPECT_FALSE(task().receiving);
    runAll();
    EXPECT_TRUE(task().receiving);
}

TEST_F(MessageNetworkTest, HandlersThatAreCalledTwiceCountOnce) {
    openAndAccept();
    const auto receiving = task().receiving;
    arrive("first");
    receiving("first again", std::nullopt);
    receiving(std::nullopt, "cancelled");
    runAll();
    EXPECT_EQ(m_delegate->data, "first");
    EXPECT_TRUE(m_delegate->reasons.empty());

    send("one");
    send("two");
    const auto sent = task().unsent.front();
    didSend();
    sent(std::nullopt);
    sent("cancelled");
    m_socket->close();
    m_queue.run();
    EXPECT_EQ(task().count("cancel"), 0); // the second is still on its way
    didSend();
    EXPECT_EQ(task().count("cancel"), 1);
}

TEST_F(MessageNetworkTest, MessagesGoOutWholeAndInOrder) {
    open();
    m_socket->send({"CONNECT\n", "\n", std::string(1, '\0')});
    m_socket->send({});
    m_queue.run();
    EXPECT_EQ(task().calls, (Texts{"resume", std::string("send CONNECT\n\n\0", 15), "send "}));
}

TEST_F(MessageNetworkTest, NothingIsReceivedWhileTooMuchWaitsToBeSent) {
    openAndAccept();
    const std::string answer(std::size_t{64} << 20, 'x');
    for (int i = 0; i < 8; ++i) {
        send(answer);
    }
    arrive("while much waits");
    runAll();
    EXPECT_EQ(m_delegate->data, "while much waits");
    EXPECT_FALSE(task().receiving);
    didSend();
    EXPECT_TRUE(task().receiving);
}

TEST_F(MessageNetworkTest, EndIsToldOnceAndLast) {
    openAndAccept();
    const auto delegate = task().delegate;
    const auto receiving = task().receiving;
    delegate->taskDidEnd("the server closed the connection (1001)");
    delegate->taskDidEnd(std::nullopt);
    m_queue.run();
    receiving("too late", std::nullopt);
    send("too late");
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"the server closed the connection (1001)"});
    EXPECT_EQ(m_delegate->data, "");
    EXPECT_EQ(task().calls, Texts{"invalidate"});
}

TEST_F(MessageNetworkTest, RefusedConnectionEnds) {
    open();
    task().delegate->taskDidEnd("bad response from the server");
    runAll();
    EXPECT_FALSE(m_delegate->opened);
    EXPECT_EQ(m_delegate->reasons, Texts{"bad response from the server"});
}

TEST_F(MessageNetworkTest, FailedReceivingEndsTheConnection) {
    openAndAccept();
    std::exchange(task().receiving, nullptr)(std::nullopt, "not connected");
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"not connected"});
}

TEST_F(MessageNetworkTest, ReceivingNothingIsTheEndAsWell) {
    openAndAccept();
    std::exchange(task().receiving, nullptr)(std::nullopt, std::nullopt);
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"the connection was closed"});
}

TEST_F(MessageNetworkTest, FailedSendingEndsTheConnection) {
    openAndAccept();
    send("text");
    didSend("broken pipe");
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"broken pipe"});
    EXPECT_TRUE(hasEnded());
}

TEST_F(MessageNetworkTest, ClosesOnceAllHasBeenSent) {
    openAndAccept();
    send("first");
    send("second");
    m_socket->close();
    m_queue.run();
    send("after the close");
    didSend();
    EXPECT_EQ(task().calls, (Texts{"send first", "send second"}));
    didSend();
    m_socket->close();
    m_queue.run();
    EXPECT_EQ(task().calls, (Texts{"send first", "send second", "cancel"}));
    task().delegate->taskDidEnd(std::nullopt);
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"the connection was closed"});
}

TEST_F(MessageNetworkTest, WhileItClosesTheTaskItselfTellsTheEnd) {
    openAndAccept();
    m_socket->close();
    m_queue.run();
    std::exchange(task().receiving, nullptr)(std::nullopt, "cancelled");
    m_queue.run();
    EXPECT_FALSE(hasEnded());
    task().delegate->taskDidEnd(std::nullopt);
    runAll();
    EXPECT_EQ(m_delegate->reasons, Texts{"the connection was closed"});
}

TEST_F(MessageNetworkTest, ConnectionClosedBeforeItIsOpenDoesNotOpen) {
    open();
    m_socket->close();
    m_queue.run();
    task().delegate->taskDidOpen("");
    runAll();
    EXPECT_FALSE(m_delegate->opened);
    EXPECT_EQ(task().calls, (Texts{"resume", "cancel"}));
}

TEST_F(MessageNetworkTest, DroppedWebSocketSendsAndDiscardsAndTellsNothing) {
    openAndAccept();
    send("answer");
    arrive(large);
    EXPECT_FALSE(task().receiving);
    m_socket.reset();
    m_queue.run();
    arrive("of no interest");
    EXPECT_TRUE(task().receiving); // lest the server stop reading in turn
    didSend();
    EXPECT_EQ(task().count("cancel"), 1);
    task().delegate->taskDidEnd(std::nullopt);
    runAll();
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(m_delegate->data, "");
    EXPECT_TRUE(m_delegate->reasons.empty());
}

TEST_F(MessageNetworkTest, NothingIsKeptAliveAfterTheEnd) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25)});
    const std::weak_ptr<platform::MessageTaskDelegate> connection = task().delegate;
    task().delegate->taskDidEnd(std::nullopt);
    m_queue.run();
    m_socket.reset();
    runAll();
    EXPECT_TRUE(connection.expired());
}

TEST_F(MessageNetworkTest, DelegateThatIsGoneIsNotTold) {
    const auto socket = m_network.openWebSocket(
        {"host", 443, "/", true, {}}, std::make_shared<RecordingDelegate>());
    m_queue.run();
    task().delegate->taskDidOpen("");
    runAll();
    arrive("message");
    runAll();
    EXPECT_TRUE(task().receiving);
}

TEST_F(MessageNetworkTest, FlushWaitsUntilAllHasGoneOutAndTheConnectionHasEnded) {
    openAndAccept();
    send("answer");
    arrive(large);
    std::atomic<bool> isFlushed = false;
    std::thread other([&] {
        m_network.flush(patience);
        isFlushed = true;
    });
    const auto work = [this](const std::function<bool()>& done) {
        const auto limit = std::chrono::steady_clock::now() + patience;
        while (!done() && std::chrono::steady_clock::now() < limit) {
            m_queue.run();
            std::this_thread::yield();
        }
        return done();
    };
    EXPECT_TRUE(work([this] { return static_cast<bool>(task().receiving); })); // it is muted
    EXPECT_EQ(task().count("cancel"), 0);
    didSend();
    EXPECT_EQ(task().count("cancel"), 1);
    EXPECT_FALSE(isFlushed);
    task().delegate->taskDidEnd(std::nullopt);
    EXPECT_TRUE(work([&] { return isFlushed.load(); }));
    other.join();
    runAll();
    EXPECT_EQ(m_delegate->data, "");
    EXPECT_TRUE(m_delegate->reasons.empty());
}

TEST_F(MessageNetworkTest, FlushDoesNotWaitWithoutEnd) {
    m_network.flush(patience); // nothing is open
    openAndAccept();
    m_network.flush(milliseconds(1));
    m_queue.run();
    EXPECT_FALSE(hasEnded());
    EXPECT_EQ(task().count("cancel"), 1);
}

TEST_F(MessageNetworkTest, AConnectionThatTheRuleRefusesIsNotMade) {
    m_network.setConnectionRule([](const platform::NetworkHost& host, std::uint64_t port) {
        return host.name == "host" ? std::nullopt : std::optional(host.authority(port) + " no");
    });
    m_socket = m_network.openWebSocket({"[0::1]", 8443, "/", true, {}}, m_delegate);
    m_socket->send({"text"});
    runAll();
    EXPECT_TRUE(m_network.records.empty());
    EXPECT_FALSE(m_delegate->opened);
    EXPECT_EQ(m_delegate->reasons, Texts{"[::1]:8443 no"});
    m_network.flush(seconds(10));
    openAndAccept();
}

TEST_F(MessageNetworkTest, AnInternationalNameIsNoHostForItsSystemTellsNotWhereItLeads) {
    EXPECT_EQ(platform::asciiHostToConnect("SIGN.example.org.")->name, "sign.example.org");
    EXPECT_EQ(platform::asciiHostToConnect("[0::1]")->name, "::1");
    EXPECT_FALSE(platform::asciiHostToConnect("b\xC3\xBC"
                                              "cher.example"));
    for (const char* const host : {"", "a b", "a/b", "[name]", "a%", "%FF", "[192.0.2.7.1]"}) {
        EXPECT_FALSE(platform::asciiHostToConnect(host)) << host;
    }
}
