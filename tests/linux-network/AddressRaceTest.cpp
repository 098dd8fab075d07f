// SPDX-License-Identifier: MIT
// Several addresses of one name.
#include "platform/linux/net/AddressRace.h"
#include "tests/linux-network/TestServer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

namespace asio = boost::asio;

using namespace platform::linux_;
using asio::ip::make_address;
using asio::ip::tcp;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Outcome {
    boost::system::error_code error;
    tcp::endpoint answered;
    steady_clock::duration time{};
    int descriptorFlags = 0;
};

Outcome race(const std::vector<tcp::endpoint>& endpoints, RaceLimits limits) {
    asio::io_context io;
    AbortSignal neverRaised;
    const auto start = steady_clock::now();
    auto future
        = asio::co_spawn(io, connectToFirst(endpoints, limits, neverRaised), asio::use_future);
    io.run();
    RaceResult result = future.get();
    const auto time = steady_clock::now() - start;
    if (!result.socket) {
        return {result.error, {}, time, 0};
    }
    return {
        {}, result.socket->remote_endpoint(), time, fcntl(result.socket->native_handle(), F_GETFD)};
}

const auto loopback = make_address("127.0.0.1");
const RaceLimits usual{milliseconds(20000), milliseconds(250)};

/// A listener whose queue is full, so that the system leaves further attempts without an answer.
class DeafListener {
public:
    DeafListener()
        : m_acceptor(m_io) {
        m_acceptor.open(tcp::v4());
        m_acceptor.bind({loopback, 0});
        m_acceptor.listen(0);
        m_fillers.reserve(4);
        for (int i = 0; i < 4; ++i) {
            m_fillers.emplace_back(m_io, tcp::v4());
            m_fillers.back().async_connect(endpoint(), [](boost::system::error_code) {});
        }
    }

    tcp::endpoint endpoint() const { return m_acceptor.local_endpoint(); }

private:
    asio::io_context m_io;
    tcp::acceptor m_acceptor;
    std::vector<tcp::socket> m_fillers;
};

TEST(AddressRaceTest, DeadFirstAddressCostsUnderASecond) {
    const DeafListener deaf;
    const TestServer server([](TcpSocket&) {});
    const tcp::endpoint alive(loopback, server.port());
    const Outcome outcome = race({deaf.endpoint(), alive}, usual);
    EXPECT_EQ(outcome.answered, alive) << outcome.error.message();
    EXPECT_GE(outcome.time, usual.nextAddressDelay);
    EXPECT_LT(outcome.time, milliseconds(1000));
}

TEST(AddressRaceTest, ConnectionIsNotInheritedByProgramsThatAreStarted) {
    const TestServer server([](TcpSocket&) {});
    const Outcome outcome = race({{loopback, server.port()}}, usual);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.descriptorFlags & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(AddressRaceTest, RefusedFirstAddressStartsTheNextAtOnce) {
    const TestServer server([](TcpSocket&) {});
    const tcp::endpoint alive(loopback, server.port());
    const RaceLimits patient{milliseconds(20000), milliseconds(15000)};
    const Outcome outcome = race({{loopback, unusedPort()}, alive}, patient);
    EXPECT_EQ(outcome.answered, alive);
    EXPECT_LT(outcome.time, milliseconds(10000));
}

TEST(AddressRaceTest, RefusalTellsMoreThanOtherErrors) {
    const tcp::endpoint impossible(make_address("255.255.255.255"), 9);
    const Outcome outcome = race({impossible, {loopback, unusedPort()}, impossible}, usual);
    EXPECT_EQ(outcome.error, asio::error::connection_refused) << outcome.error.message();
    EXPECT_LT(outcome.time, milliseconds(10000));
}

TEST(AddressRaceTest, NobodyAnsweringEndsAtTheLimit) {
    const DeafListener deaf;
    const Outcome outcome = race({deaf.endpoint()}, {milliseconds(100), milliseconds(10)});
    EXPECT_EQ(outcome.error, asio::error::timed_out) << outcome.error.message();
    EXPECT_LT(outcome.time, milliseconds(10000));
}

} // namespace
