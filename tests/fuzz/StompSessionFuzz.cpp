// SPDX-License-Identifier: MIT
// The STOMP client with a hostile server: whatever happens in whatever order, its delegate is told
// of one connection and one end, and nothing afterwards. Input: what happens, one byte each, a
// piece of data with its length and bytes.
#include "frameworks/CRVStompClient/CRVStompClient.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/MemoryPlatform.h"

using fuzz::require;

namespace {

/// Holds the client to the order of events.
class OrderedDelegate : public CRVStompClientDelegate {
public:
    void stompClientDidConnect(CRVStompClient*) override {
        require(m_state == State::connecting, "a client connects once");
        m_state = State::connected;
    }
    void messageReceived(
        CRVStompClient*, std::optional<OwnedText> body, const stomp::Headers&) override {
        require(m_state == State::connected, "messages come while connected");
        require(body && body->view().ends_with('\0'), "a body ends in the frame's terminator");
    }
    void serverDidSendReceipt(CRVStompClient*, const std::string&) override {
        require(m_state == State::connected, "receipts come while connected");
    }
    void serverDidSendPing(CRVStompClient*) override {
        require(m_state == State::connected, "heart-beats come while connected");
    }
    void serverDidSendError(
        CRVStompClient*, std::optional<std::string>, std::optional<std::string> details) override {
        require(m_state == State::connecting || m_state == State::connected, "an error comes once");
        require(details.has_value(), "an error has a body");
        m_state = State::ended;
    }
    void stompClientWillDisconnect(CRVStompClient*, const std::string& error) override {
        require(
            m_state == State::connecting || m_state == State::connected, "one end is announced");
        require(!error.empty(), "the end has a cause");
        m_state = State::ending;
    }
    void stompClientDidDisconnect(CRVStompClient*) override {
        require(m_state == State::ending, "the end comes once, after its announcement");
        m_state = State::ended;
    }

    bool hasEnded() const { return m_state == State::ended; }

private:
    enum class State { connecting, connected, ending, ended };
    State m_state = State::connecting;
};

} // namespace

void fuzz::target(std::string_view bytes) {
    MemoryPlatform memory;
    const auto delegate = std::make_shared<OrderedDelegate>();
    const auto client = CRVStompClient::initWithHost(
        "h", 443, "/room/r", std::nullopt, std::nullopt, delegate, true, true);
    MemoryWebSocket& server = *memory.network().webSockets.at(0);
    bool isOpen = false; // the platform delivers no data before
    std::optional<std::size_t> sentAtEnd;
    Input input(bytes);
    while (!input.isEmpty()) {
        switch (input.takeByte() % 8) {
        case 0:
            server.open("v12.stomp");
            isOpen = true;
            break;
        case 1:
            server.lose("the server closed the connection");
            break;
        case 2:
            client->subscribeToDestination("/topic/r", {{"id", "sub-0"}, {"absent", std::nullopt}});
            break;
        case 3:
            client->sendMessage("body", std::string(input.takeText(input.takeByte() % 16)));
            break;
        default:
            if (const auto data = input.takeText(input.takeByte()); isOpen) {
                server.receive(std::string(data));
            }
        }
        memory.application().runPending();
        if (delegate->hasEnded()) {
            require(server.closed, "the end closes the connection");
            require(
                !sentAtEnd || *sentAtEnd == server.sent.size(), "nothing is sent after the end");
            sentAtEnd = server.sent.size();
        }
    }
    require(server.sent.empty() || server.sent.front().starts_with("CONNECT\n"),
        "the first frame sent is CONNECT");
}
