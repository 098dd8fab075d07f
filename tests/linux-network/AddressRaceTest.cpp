// SPDX-License-Identifier: MIT
// Several addresses of one name.
#include "platform/linux/net/AddressRace.h"
#include "tests/linux-network/DeafListener.h"
#include "tests/linux-network/TestServer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

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
    int stall = 0; // milliseconds
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
        return {result.error, {}, time};
    }
    const int descriptor = result.socket->native_handle();
    int stall = 0;
    socklen_t size = sizeof stall;
    getsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &stall, &size);
    return {{}, result.socket->remote_endpoint(), time, fcntl(descriptor, F_GETFD), stall};
}

const auto loopback = make_address("127.0.0.1");
const RaceLimits usual{milliseconds(20000), milliseconds(250)};

TEST(AddressRaceTest, ShortRaceLeavesTheConnectionItsTime) {
    const TestServer server([](TcpSocket&) {});
    const std::vector<tcp::endpoint> alive{{loopback, server.port()}};
    EXPECT_EQ(race(alive, usual).stall, 20000);
    EXPECT_EQ(
        race(alive, {milliseconds(2000), milliseconds(250), milliseconds(60000)}).stall, 60000);
}

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
