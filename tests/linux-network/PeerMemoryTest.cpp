// SPDX-License-Identifier: MIT
// What one connection leaves for the next to the same place, and what it must not.
#include "platform/linux/net/HttpsGet.h"
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace asio = boost::asio;

using namespace platform::linux_;
using testing::ElementsAre;
using testing::IsEmpty;

using Endpoint = PeerMemory::Endpoint;

class PeerMemoryTest : public testing::Test {
protected:
    static Endpoint endpoint(std::uint16_t port) {
        return {asio::ip::address_v4::loopback(), port};
    }
    static TlsSession session() { return TlsSession(SSL_SESSION_new()); }

    PeerMemory::Clock::time_point m_time = PeerMemory::Clock::now();
    PeerMemory m_memory{[this] { return m_time; }};
    const PeerMemory::Place m_place{"sign.example.org", 443};
};

TEST_F(PeerMemoryTest, TheAddressThatAnsweredComesFirst) {
    m_memory.keepEndpoints(m_place, {endpoint(1), endpoint(2), endpoint(3)}, endpoint(3));
    EXPECT_THAT(m_memory.endpoints(m_place), ElementsAre(endpoint(3), endpoint(1), endpoint(2)));
    m_memory.forgetEndpoints(m_place);
    EXPECT_THAT(m_memory.endpoints(m_place), IsEmpty());
}

TEST_F(PeerMemoryTest, NothingIsKeptForMoreThanAMinute) {
    m_memory.keepEndpoints(m_place, {endpoint(1)}, endpoint(1));
    m_memory.keepSession(m_place, session());
    m_time += std::chrono::seconds(59);
    EXPECT_THAT(m_memory.endpoints(m_place), ElementsAre(endpoint(1)));
    m_time += std::chrono::seconds(1);
    EXPECT_THAT(m_memory.endpoints(m_place), IsEmpty());
    EXPECT_FALSE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, ASessionIsUsedOnce) {
    m_memory.keepSession(m_place, session());
    EXPECT_TRUE(m_memory.takeSession(m_place));
    EXPECT_FALSE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, AnotherHostOrPortIsAnotherPlace) {
    m_memory.keepEndpoints(m_place, {endpoint(1)}, endpoint(1));
    m_memory.keepSession(m_place, session());
    for (const PeerMemory::Place& other :
        {PeerMemory::Place{"sign.example.org", 8443}, PeerMemory::Place{"example.org", 443}}) {
        EXPECT_THAT(m_memory.endpoints(other), IsEmpty());
        EXPECT_FALSE(m_memory.takeSession(other));
    }
    EXPECT_TRUE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, TheOldestPlaceGivesWay) {
    for (std::uint16_t port = 1; port <= PeerMemory::placeLimit + 1; ++port) {
        m_memory.keepEndpoints({"sign.example.org", port}, {endpoint(port)}, endpoint(port));
    }
    EXPECT_THAT(m_memory.endpoints({"sign.example.org", 1}), IsEmpty());
    EXPECT_THAT(m_memory.endpoints({"sign.example.org", 2}), ElementsAre(endpoint(2)));
}

/// One network, as the program has it.
class ResumptionTest : public testing::Test {
protected:
    /// The error's text, or the body when there is none.
    std::string get(const std::string& url) {
        std::promise<std::string> promise;
        const auto task = m_network.dataTaskWithURL(url, [&](auto data, auto, auto error) {
            promise.set_value(error ? error->localizedDescription : *data);
        });
        task->resume();
        return promise.get_future().get();
    }

    /// Which of the handshakes went on with an earlier one's session.
    std::vector<int> resumed() {
        const std::lock_guard lock(m_mutex);
        return m_resumed;
    }

    const TlsScript m_script = [this](TlsSocket& tls) {
        {
            const std::lock_guard lock(m_mutex);
            m_resumed.push_back(SSL_session_reused(tls.native_handle()));
        }
        sayOk(tls);
    };

private:
    std::mutex m_mutex;
    std::vector<int> m_resumed;
    TestApplication m_application;
    LinuxNetwork m_network{m_application};
};

TEST_F(ResumptionTest, TheSecondConnectionGoesOnWithTheFirst) {
    const TestServer server(serverContext(trustedIdentity()), m_script);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(get(server.url("/")), "ok");
    }
    // The third looks at the certificate again.
    EXPECT_THAT(resumed(), ElementsAre(0, 1, 0));
}

TEST_F(ResumptionTest, OldVersionsOfTlsShakeHandsAnew) {
    const ServerContext context = serverContext(trustedIdentity());
    SSL_CTX_set_max_proto_version(context->native_handle(), TLS1_2_VERSION);
    const TestServer server(context, m_script);
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_THAT(resumed(), ElementsAre(0, 0));
}

TEST_F(ResumptionTest, WhatOneNameProvedCountsForNoOther) {
    CertificateRequest request;
    request.alternativeNames = "DNS:localhost";
    const TestServer server(serverContext(trustedIdentity(request)), m_script);
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(server.port()) + "/"),
        "certificate does not belong to 127.0.0.1");
}

TEST_F(ResumptionTest, AServerThatTookThePlaceOfAnotherIsLookedAtLikeAnyOther) {
    const std::vector<ServerContext> contexts{serverContext(trustedIdentity()),
        serverContext(trustedIdentity()), serverContext(makeIdentity({}, nullptr))};
    std::size_t next = 0;
    const TestServer server([&](TcpSocket& socket) {
        TlsSocket tls(std::move(socket), *contexts[next++]);
        tls.handshake(asio::ssl::stream_base::server);
        m_script(tls);
    });
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_EQ(get(server.url("/")),
        "certificate of localhost is self-signed and not trusted by this computer");
    EXPECT_THAT(resumed(), ElementsAre(0, 0));
}

/// A connector and its thread of sockets, which is the test's own.
class KnownAddressTest : public testing::Test {
protected:
    KnownAddressTest() { m_gate->open(m_io); }
    ~KnownAddressTest() override { m_gate->shut(); }
    KnownAddressTest(const KnownAddressTest&) = delete;
    KnownAddressTest& operator=(const KnownAddressTest&) = delete;

    HttpsAnswer get(const std::string& url) {
        HttpsAnswer answer;
        asio::co_spawn(m_io, httpsGet(m_connector, url, std::chrono::minutes(1)),
            [&](const std::exception_ptr&, HttpsAnswer told) { answer = std::move(told); });
        m_io.restart();
        m_io.run();
        return answer;
    }

    void keep(const std::string& host, std::uint16_t port, std::uint16_t answeringPort) {
        const Endpoint endpoint(asio::ip::address_v4::loopback(), answeringPort);
        m_connector.memory().keepEndpoints({host, port}, {endpoint}, endpoint);
    }

    asio::io_context m_io;
    const std::shared_ptr<IoGate> m_gate = std::make_shared<IoGate>();
    Connector m_connector{
        m_gate, {std::chrono::minutes(1), std::chrono::milliseconds(250), {}, ""}};
};

TEST_F(KnownAddressTest, IsNotLookedUpAgain) {
    CertificateRequest request;
    request.alternativeNames = "DNS:nowhere.invalid";
    const TestServer server(serverContext(trustedIdentity(request)), sayOk);
    keep("nowhere.invalid", 443, server.port());
    EXPECT_EQ(get("https://nowhere.invalid/").data, "ok");
}

TEST_F(KnownAddressTest, ThatDoesNotAnswerIsLookedUpAgain) {
    const TestServer server(serverContext(trustedIdentity()), sayOk);
    keep("localhost", server.port(), unusedPort());
    EXPECT_EQ(get(server.url("/")).data, "ok");
    const auto known = m_connector.memory().endpoints({"localhost", server.port()});
    ASSERT_FALSE(known.empty());
    EXPECT_EQ(known.front(), Endpoint(asio::ip::address_v4::loopback(), server.port()));
}

TEST_F(KnownAddressTest, ThatDoesNotAnswerIsForgotten) {
    const std::uint16_t port = unusedPort();
    keep("localhost", port, port);
    const HttpsAnswer answer = get("https://localhost:" + std::to_string(port) + "/");
    ASSERT_TRUE(answer.error);
    EXPECT_EQ(answer.error->localizedDescription,
        "localhost refused the connection on port " + std::to_string(port));
    EXPECT_THAT(m_connector.memory().endpoints({"localhost", port}), IsEmpty());
}

} // namespace
