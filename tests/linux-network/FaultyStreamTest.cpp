// SPDX-License-Identifier: MIT
// The whole program over a connection in memory that fails after any number of operations.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "platform/linux/net/WebSocketSession.h"
#include "tests/linux-network/ServerBytes.h"
#include "tests/support/PlatformWithNetwork.h"
#include "tests/support/ProcessEnd.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace asio = boost::asio;

using namespace platform;
using namespace platform::linux_;

/// How the server and the connection behave.
struct Scenario {
    std::string serverBytes; // after the upgrade; the end of the stream follows
    std::size_t chunk = SIZE_MAX; // the most bytes that one operation moves
    std::size_t fineOperations = SIZE_MAX; // those after fail
    ByteLayer::ErrorCode error = asio::error::connection_reset;
};

class FaultyLayer : public ByteLayer {
public:
    FaultyLayer(asio::any_io_executor executor, const Scenario& scenario, std::size_t& operations)
        : m_executor(std::move(executor))
        , m_scenario(scenario)
        , m_operations(operations) { }

    asio::any_io_executor executor() override { return m_executor; }

    void readSome(asio::mutable_buffer buffer, Done done) override {
        m_readBuffer = buffer;
        m_reading = std::move(done);
        serveRead();
    }

    void writeSome(asio::const_buffer buffer, Done done) override {
        if (isBroken()) {
            finish(std::move(done), m_scenario.error, 0);
            return;
        }
        const std::size_t length = std::min(buffer.size(), m_scenario.chunk);
        if (!m_upgraded) {
            m_request.append(static_cast<const char*>(buffer.data()), length);
            if (m_request.ends_with("\r\n\r\n")) {
                m_upgraded = true;
                m_incoming = upgradeAnswer(m_request) + m_scenario.serverBytes;
            }
        }
        finish(std::move(done), {}, length);
        serveRead();
    }

    void shutDown(std::function<void()> done) override { asio::post(m_executor, std::move(done)); }

    void close() override {
        m_closed = true;
        serveRead();
    }

    void expireAfter(std::chrono::milliseconds) override { }
    void expireNever() override { }
    int unacknowledgedBytes() override { return 0; }

private:
    bool isBroken() { return m_closed || m_operations++ >= m_scenario.fineOperations; }

    void serveRead() {
        if (!m_reading || (!m_upgraded && !m_closed)) {
            return;
        }
        Done done = std::exchange(m_reading, nullptr);
        if (isBroken()) {
            finish(std::move(done),
                m_closed ? ErrorCode(asio::error::operation_aborted) : m_scenario.error, 0);
            return;
        }
        const std::size_t length
            = std::min({m_incoming.size() - m_taken, m_scenario.chunk, m_readBuffer.size()});
        std::copy_n(m_incoming.data() + m_taken, length, static_cast<char*>(m_readBuffer.data()));
        m_taken += length;
        finish(std::move(done), length == 0 ? ErrorCode(asio::error::eof) : ErrorCode(), length);
    }

    void finish(Done done, ErrorCode error, std::size_t length) {
        asio::post(m_executor, [done = std::move(done), error, length] { done(error, length); });
    }

    const asio::any_io_executor m_executor;
    const Scenario& m_scenario;
    std::size_t& m_operations;
    std::string m_request;
    std::string m_incoming;
    std::size_t m_taken = 0;
    asio::mutable_buffer m_readBuffer;
    Done m_reading;
    bool m_upgraded = false;
    bool m_closed = false;
};

class FaultyConnector : public Connector {
public:
    FaultyConnector(std::shared_ptr<IoGate> gate, asio::io_context& io, const Scenario& scenario)
        : Connector(std::move(gate), {std::chrono::seconds(60), {}, {}, {}})
        , m_io(io)
        , m_scenario(scenario) { }

    asio::awaitable<Expected<ClientStream>> connect(Destination, AbortSignal&) override {
        if (m_scenario.fineOperations == 0) {
            co_return Failure{"h refused the connection on port 443"};
        }
        co_return ClientStream(
            std::make_unique<FaultyLayer>(m_io.get_executor(), m_scenario, operations));
    }

    std::size_t operations = 1; // connecting is one

private:
    asio::io_context& m_io;
    const Scenario& m_scenario;
};

/// One session of the program, on one thread.
class FaultySession : public Network {
public:
    explicit FaultySession(Scenario scenario)
        : m_scenario(std::move(scenario))
        , m_connector(m_gate, m_io, m_scenario) {
        m_gate->open(m_io);
        m_platform.security().addIdentity("Alice");
        m_view.viewDidLoad();
    }
    ~FaultySession() override { m_gate->shut(); }
    FaultySession(const FaultySession&) = delete;
    FaultySession& operator=(const FaultySession&) = delete;

    /// Runs until the process ends, or until nothing is left to be done.
    std::string run() {
        return endOf([this] {
            m_client->connect("h", 443, "/room/r1", "r1");
            do {
                m_platform.application().runPending();
            } while (m_io.poll() > 0);
        });
    }

    std::size_t operations() const { return m_connector.operations; }
    std::vector<std::string> events() const { return m_platform.memory.trace.events(); }
    std::vector<std::string> log() const { return m_platform.memory.log(); }

    std::unique_ptr<URLSessionDataTask> dataTaskWithURL(
        const std::string&, DataTaskCompletion) override {
        return nullptr;
    }
    std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) override {
        const auto channel = std::make_shared<SocketChannel>(m_platform.application(),
            std::move(delegate), m_gate, m_silenced, std::size_t{1} << 30);
        m_session = std::make_shared<WebSocketSession>(m_connector, channel, request,
            WebSocketSession::Limits{std::chrono::seconds(2), std::chrono::seconds(60)},
            m_io.get_executor());
        m_session->start([](WebSocketSession*) {});
        return makeWebSocket(channel);
    }
    void flush(std::chrono::milliseconds) override { }

private:
    const Scenario m_scenario;
    asio::io_context m_io;
    const std::shared_ptr<IoGate> m_gate = std::make_shared<IoGate>();
    const std::shared_ptr<const std::atomic<bool>> m_silenced
        = std::make_shared<std::atomic<bool>>(false);
    FaultyConnector m_connector;
    std::shared_ptr<WebSocketSession> m_session;
    PlatformWithNetwork m_platform{*this};
    ViewController m_view{m_platform.userInterface().statusTextView()};
    std::shared_ptr<ZqClient> m_client = std::make_shared<ZqClient>(&m_view);
};

constexpr std::size_t farewell = 3; // events: the cause, the disconnect, the exit

/// The session ends as a lost connection, and everything before is the beginning of `whole`.
void expectLoss(const Scenario& scenario, const std::vector<std::string>& whole) {
    FaultySession session(scenario);
    ASSERT_EQ(session.run(), "exit 0");
    std::vector<std::string> events = session.events();
    ASSERT_GE(events.size(), farewell);
    EXPECT_EQ(events.end()[-1], "exit: 0");
    EXPECT_EQ(events.end()[-2], "log: STOMP client disconnected from server");
    EXPECT_THAT(events.end()[-3],
        testing::AnyOf(testing::StartsWith("log: Could not connect to wss://h:443: "),
            testing::StartsWith("log: Connection to wss://h:443 lost: ")));
    events.resize(events.size() - farewell);
    ASSERT_LE(events.size(), whole.size());
    EXPECT_TRUE(std::equal(events.begin(), events.end(), whole.begin()))
        << testing::PrintToString(events);
}

/// The events of the session that nothing disturbs, and the operations that it takes.
std::pair<std::vector<std::string>, std::size_t> undisturbed(const Scenario& scenario) {
    FaultySession session(scenario);
    EXPECT_EQ(session.run(), "exit 0");
    std::vector<std::string> events = session.events();
    events.resize(events.size() - farewell);
    return {events, session.operations()};
}

} // namespace

TEST(FaultyStream, WithoutAFaultEveryCommandIsAnswered) {
    FaultySession session({.serverBytes = sessionBytes() + closeBytes(1001)});
    EXPECT_EQ(session.run(), "exit 0");
    const auto log = session.log();
    for (const char* answer :
        {"CLIENT_CONNECT", "CERTIFICATE_LIST", "SIGN_PDF_RESPONSE", "SIGN_XML_RESPONSE"}) {
        EXPECT_THAT(log,
            testing::Contains(
                testing::StartsWith(std::string("Sending message: ") + answer + ' ')));
    }
    EXPECT_EQ(log.end()[-2],
        "Connection to wss://h:443 lost: the server closed the connection (it is going away)");
}

TEST(FaultyStream, FailureOfAnyOperationIsALostConnection) {
    Scenario scenario{.serverBytes = sessionBytes() + closeBytes(1000)};
    const auto [whole, operations] = undisturbed(scenario);
    for (const auto& error : {ByteLayer::ErrorCode(asio::error::connection_reset),
             ByteLayer::ErrorCode(asio::error::eof), ByteLayer::ErrorCode(asio::error::timed_out),
             ByteLayer::ErrorCode(asio::error::broken_pipe)}) {
        scenario.error = error;
        for (std::size_t fine = 0; fine < operations; ++fine) {
            scenario.fineOperations = fine;
            expectLoss(scenario, whole);
        }
    }
}

TEST(FaultyStream, OneByteAtATimeAnyOperationMayFail) {
    Scenario scenario{.serverBytes = sessionBytes() + closeBytes(1000), .chunk = 1};
    const auto [whole, operations] = undisturbed(scenario);
    EXPECT_GT(operations, 1000U);
    for (std::size_t fine = 0; fine < operations; fine += 7) {
        scenario.fineOperations = fine;
        expectLoss(scenario, whole);
    }
}

TEST(FaultyStream, StreamMayEndAfterAnyByte) {
    const std::string session = sessionBytes();
    const auto whole = undisturbed({.serverBytes = session}).first;
    for (std::size_t end = 0; end <= session.size(); ++end) {
        expectLoss({.serverBytes = session.substr(0, end)}, whole);
    }
}

TEST(FaultyStream, AnySizeOfPiecesMakesTheSameSession) {
    const std::string session = sessionBytes() + closeBytes(1000);
    const auto whole = undisturbed({.serverBytes = session}).first;
    for (std::size_t chunk = 1; chunk < 200; ++chunk) {
        EXPECT_EQ(undisturbed({.serverBytes = session, .chunk = chunk}).first, whole) << chunk;
    }
}

TEST(FaultyStream, EachDamagedByteEndsTheSessionInGoodOrder) {
    const std::string session = sessionBytes();
    for (std::size_t place = 0; place < session.size(); ++place) {
        for (const unsigned damage : {0x01U, 0x80U, 0xFFU}) {
            std::string damaged = session;
            damaged[place] = static_cast<char>(static_cast<unsigned>(damaged[place]) ^ damage);
            FaultySession faulty({.serverBytes = damaged});
            // A lost connection, or an alert where the damage made another message.
            EXPECT_THAT(faulty.run(), testing::AnyOf("exit 0", "exit 1", "abort")) << place;
        }
    }
}
