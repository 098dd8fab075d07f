// SPDX-License-Identifier: MIT
#include "tests/devserver/TestClient.h"

#include <thread>

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

using stomp::Frame;

class TransferTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(server.start(), std::nullopt);
        ASSERT_TRUE(client.join(server, "1")) << client.error;
        session = server.waitForAgent("1", patience);
        ASSERT_NE(session, nullptr);
    }

    std::string receivedBody() {
        const std::optional<Frame> frame = client.receive();
        return frame ? frame->body : "(nothing)";
    }

    Server server;
    TestClient client;
    std::shared_ptr<AgentSession> session;
};

TEST_F(TransferTest, CommandArrivesAsMessageFrame) {
    ASSERT_TRUE(session->sendCommand("SIGN_XML", boost::json::object{{"k", nullptr}}, 7));
    const std::optional<Frame> frame = client.receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->command, "MESSAGE");
    EXPECT_EQ(frame->body, R"({"command":"SIGN_XML","payload":{"k":null},"requestId":7})");
    EXPECT_EQ(*frame->headers.find("subscription"), "sub-0");
    EXPECT_EQ(*frame->headers.find("message-id"), "1");
    EXPECT_EQ(*frame->headers.find("destination"), "/topic/room/1");
    EXPECT_EQ(*frame->headers.find("content-type"), "application/json");
    EXPECT_EQ(*frame->headers.find("content-length"), std::to_string(frame->body.size()));
}

TEST_F(TransferTest, EachMessageHasAnIdOfItsOwn) {
    ASSERT_TRUE(session->sendEnvelope("a"));
    ASSERT_TRUE(session->sendEnvelope("b"));
    ASSERT_TRUE(client.receive());
    const std::optional<Frame> second = client.receive();
    ASSERT_TRUE(second);
    EXPECT_EQ(*second->headers.find("message-id"), "2");
    EXPECT_EQ(second->body, "b");
}

TEST_F(TransferTest, AnswerIsParsedAndKeptRaw) {
    const std::string body = R"({ "command":"DIAGNOSTICS","payload":{"os":"macOS"}})";
    ASSERT_TRUE(client.sendEnvelope("1", body));
    const std::optional<AgentMessage> message = session->receive(patience);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->destination, "/app/room/1");
    EXPECT_EQ(message->text, body);
    EXPECT_EQ(message->command(), "DIAGNOSTICS");
    ASSERT_NE(message->find("payload"), nullptr);
    EXPECT_EQ(message->find("payload")->at("os"), "macOS");
    EXPECT_EQ(message->find("requestId"), nullptr);
}

TEST_F(TransferTest, BodyThatIsNotJsonIsStillReceived) {
    ASSERT_TRUE(client.sendEnvelope("1", "plain"));
    const std::optional<AgentMessage> message = session->receive(patience);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->text, "plain");
    EXPECT_TRUE(message->envelope.is_null());
    EXPECT_EQ(message->command(), "");
}

TEST_F(TransferTest, WaitsEndWithTheirTime) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(session->receive(30ms), std::nullopt);
    EXPECT_EQ(session->waitForClose(30ms), std::nullopt);
    EXPECT_EQ(server.waitForAgent("1", 30ms), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 90ms);
    EXPECT_TRUE(session->isOpen());
}

TEST_F(TransferTest, SeveralFramesTravelInOneMessage) {
    const std::size_t before = client.messageCount();
    std::vector<Frame> frames;
    frames.push_back(session->messageFrame("first"));
    frames.push_back(session->messageFrame("second"));
    ASSERT_TRUE(session->sendTogether(std::move(frames)));
    EXPECT_EQ(receivedBody(), "first");
    EXPECT_EQ(receivedBody(), "second");
    EXPECT_EQ(client.messageCount(), before + 1);
}

TEST_F(TransferTest, OneFrameTravelsInSeveralMessages) {
    const std::size_t before = client.messageCount();
    const std::optional<std::string> bytes
        = stomp::encode(session->messageFrame("a\xC3\xA4"), stomp::Version::v1_2);
    ASSERT_TRUE(bytes);
    std::vector<std::string> messages;
    for (const char c : *bytes) {
        messages.emplace_back(1, c);
    }
    ASSERT_TRUE(session->sendRaw(std::move(messages), MessageKind::binary));
    EXPECT_EQ(receivedBody(), "a\xC3\xA4");
    EXPECT_EQ(client.messageCount(), before + bytes->size());
}

TEST_F(TransferTest, FramesOfTheAgentMayBeCutAndJoined) {
    const std::optional<std::string> bytes = stomp::encode(
        {"SEND", {{"destination", "/app/room/1"}}, "{\"command\":\"A\"}"}, stomp::Version::v1_2);
    ASSERT_TRUE(bytes);
    ASSERT_TRUE(client.sendText(bytes->substr(0, 9)));
    ASSERT_TRUE(client.sendText(bytes->substr(9) + "\n\n" + *bytes));
    EXPECT_EQ(session->receive(patience).value_or(AgentMessage{}).command(), "A");
    EXPECT_EQ(session->receive(patience).value_or(AgentMessage{}).command(), "A");
}

TEST_F(TransferTest, AnyFrameCanBeSent) {
    ASSERT_TRUE(session->sendFrame({"ERROR", {{"message", "no: \\ way"}}, "details"}));
    const std::optional<Frame> frame = client.receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->command, "ERROR");
    EXPECT_EQ(*frame->headers.find("message"), "no: \\ way");
    EXPECT_EQ(*frame->headers.find("content-length"), "7");
    EXPECT_FALSE(session->sendFrame({"ERROR", {{"message", std::string(1, '\0')}}, {}}));
}

TEST_F(TransferTest, LargeBodiesTravelBothWaysUnchanged) {
    std::string body(std::size_t{32} << 20, 'x');
    for (std::size_t i = 0; i < body.size(); i += 4093) {
        body[i] = static_cast<char>('a' + i % 23);
    }
    ASSERT_TRUE(session->sendEnvelope(body));
    EXPECT_TRUE(receivedBody() == body);
    ASSERT_TRUE(client.sendEnvelope("1", body));
    const std::optional<Frame> answer = session->receiveFrame(patience);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->body == body);
}

TEST_F(TransferTest, AgentThatDropsTheConnectionIsNoticed) {
    ASSERT_TRUE(client.sendEnvelope("1", "last words"));
    ASSERT_TRUE(session->receiveFrame(patience));
    client.drop();
    const std::optional<CloseInfo> end = session->waitForClose(patience);
    ASSERT_TRUE(end);
    EXPECT_FALSE(end->handshake);
    EXPECT_FALSE(end->reason.empty());
    EXPECT_FALSE(session->isOpen());
    EXPECT_FALSE(session->sendCommand("SERVER_CONNECT"));
    EXPECT_EQ(session->receive(patience), std::nullopt) << "does not wait after the end";
}

TEST_F(TransferTest, AgentThatClosesIsNoticedAfterItsLastMessage) {
    ASSERT_TRUE(client.sendEnvelope("1", "last words"));
    ASSERT_TRUE(client.close());
    const std::optional<CloseInfo> end = session->waitForClose(patience);
    ASSERT_TRUE(end);
    EXPECT_TRUE(end->handshake);
    EXPECT_EQ(end->code, 1000U);
    EXPECT_EQ(session->receive(0ms).value_or(AgentMessage{}).text, "last words");
}

TEST_F(TransferTest, AbruptCloseResetsTheConnection) {
    session->closeAbruptly();
    EXPECT_EQ(client.waitForClose(), 0U);
    EXPECT_NE(client.error.find("reset"), std::string::npos) << client.error;
    ASSERT_TRUE(session->waitForClose(patience));
}

TEST_F(TransferTest, CloseTellsItsCodeAfterWhatWasSent) {
    ASSERT_TRUE(session->sendEnvelope("last words"));
    session->close(4001);
    EXPECT_EQ(receivedBody(), "last words");
    EXPECT_EQ(client.waitForClose(), 4001U);
}

TEST_F(TransferTest, StopEndsSessionsAndWaiting) {
    std::thread waiting([&] { EXPECT_EQ(session->receive(patience), std::nullopt); });
    std::thread joining([&] { EXPECT_EQ(server.waitForAnyAgent(patience), nullptr); });
    const auto start = std::chrono::steady_clock::now();
    server.stop();
    waiting.join();
    joining.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, patience);
    EXPECT_EQ(client.waitForClose(), 0U);
    EXPECT_FALSE(session->sendCommand("SERVER_CONNECT"));
    session->close();
    session->closeAbruptly();
}

TEST_F(TransferTest, SessionsOfDifferentRoomsAreApart) {
    TestClient other;
    ASSERT_TRUE(other.join(server, "2"));
    const auto otherSession = server.waitForAnyAgent(patience);
    ASSERT_NE(otherSession, nullptr);
    EXPECT_EQ(otherSession->room(), "2");
    ASSERT_TRUE(otherSession->sendEnvelope("for two"));
    ASSERT_TRUE(session->sendEnvelope("for one"));
    EXPECT_EQ(receivedBody(), "for one");
    EXPECT_EQ(other.receive().value_or(Frame{}).body, "for two");
}

} // namespace
} // namespace devserver::test
