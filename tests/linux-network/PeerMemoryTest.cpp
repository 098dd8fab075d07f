// SPDX-License-Identifier: MIT
// What one connection leaves for the next to the same place, and what it must not.
#include "platform/linux/net/HttpsGet.h"
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/DeafListener.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>

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

    PeerMemory::Time m_time = std::chrono::hours(1);
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
    m_memory.keepSession(m_place, session(), m_time);
    m_time += std::chrono::seconds(59);
    EXPECT_THAT(m_memory.endpoints(m_place), ElementsAre(endpoint(1)));
    m_time += std::chrono::seconds(1);
    EXPECT_THAT(m_memory.endpoints(m_place), IsEmpty());
    EXPECT_FALSE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, TheMinuteOfASessionBeginsWithItsHandshake) {
    const PeerMemory::Time handshake = m_time;
    m_time += std::chrono::seconds(59);
    m_memory.keepSession(m_place, session(), handshake);
    EXPECT_TRUE(m_memory.takeSession(m_place));
    m_time += std::chrono::seconds(1);
    m_memory.keepSession(m_place, session(), handshake);
    EXPECT_FALSE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, WhatIsOverIsFreed) {
    SSL_SESSION* const kept = SSL_SESSION_new();
    SSL_SESSION_up_ref(kept);
    const int index = SSL_SESSION_get_ex_new_index(
        0, nullptr, nullptr, nullptr, [](void*, void* counter, CRYPTO_EX_DATA*, int, long, void*) {
            if (counter != nullptr) { // sessions of other tests have none
                ++*static_cast<int*>(counter);
            }
        });
    int freed = 0;
    SSL_SESSION_set_ex_data(kept, index, &freed);
    m_memory.keepSession(m_place, TlsSession(kept), m_time);
    SSL_SESSION_free(kept);
    EXPECT_EQ(freed, 0);
    m_time += PeerMemory::lifetime;
    m_memory.endpoints({"example.org", 443});
    EXPECT_EQ(freed, 1);
}

TEST_F(PeerMemoryTest, ASessionIsUsedOnce) {
    m_memory.keepSession(m_place, session(), m_time);
    EXPECT_TRUE(m_memory.takeSession(m_place));
    EXPECT_FALSE(m_memory.takeSession(m_place));
}

TEST_F(PeerMemoryTest, AnotherHostOrPortIsAnotherPlace) {
    m_memory.keepEndpoints(m_place, {endpoint(1)}, endpoint(1));
    m_memory.keepSession(m_place, session(), m_time);
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

TEST_F(ResumptionTest, WhatOnePortProvedCountsForNoOther) {
    const ServerContext context = serverContext(trustedIdentity());
    const TestServer first(context, m_script);
    const TestServer second(context, m_script); // which knows the tickets of the first
    EXPECT_EQ(get(first.url("/")), "ok");
    EXPECT_EQ(get(second.url("/")), "ok");
    EXPECT_THAT(resumed(), ElementsAre(0, 0));
}

TEST_F(ResumptionTest, AServerThatBreaksOnASessionIsAskedAgainWithoutOne) {
    const ServerContext context = serverContext(trustedIdentity());
    int connections = 0;
    const TestServer server([&](TcpSocket& socket) {
        if (++connections == 2) {
            char hello[1];
            asio::read(socket, asio::buffer(hello));
            const std::string_view handshakeFailure("\x15\x03\x03\x00\x02\x02\x28", 7);
            asio::write(socket, asio::buffer(handshakeFailure));
            boost::system::error_code ignored;
            std::string rest;
            asio::read(socket, asio::dynamic_buffer(rest), ignored);
            return;
        }
        TlsSocket tls(std::move(socket), *context);
        tls.handshake(asio::ssl::stream_base::server);
        m_script(tls);
    });
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_EQ(get(server.url("/")), "ok");
    EXPECT_THAT(resumed(), ElementsAre(0, 0));
    EXPECT_EQ(server.connections(), 3);
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

    HttpsAnswer get(
        const std::string& url, std::chrono::milliseconds limit = std::chrono::minutes(1)) {
        HttpsAnswer answer;
        asio::co_spawn(m_io, httpsGet(m_connector, url, limit),
            [&](const std::exception_ptr&, HttpsAnswer told) { answer = std::move(told); });
        m_io.restart();
        m_io.run();
        return answer;
    }

    void keep(const std::string& host, std::uint16_t port, std::uint16_t answeringPort) {
        const Endpoint endpoint(asio::ip::address_v4::loopback(), answeringPort);
        m_connector.memory().keepEndpoints({host, port}, {endpoint}, endpoint);
    }

    bool isKnown(const std::string& host, std::uint16_t port) {
        return !m_connector.memory().endpoints({host, port}).empty();
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
    EXPECT_FALSE(isKnown("localhost", port));
}

TEST_F(KnownAddressTest, ThatIsSilentIsLookedUpAgainBeforeLong) {
    const DeafListener deaf;
    const TestServer server(serverContext(trustedIdentity()), sayOk);
    keep("localhost", server.port(), deaf.endpoint().port());
    EXPECT_EQ(get(server.url("/"), std::chrono::seconds(30)).data, "ok");
}

TEST_F(KnownAddressTest, IsNotWaitedForAfterTheEnd) {
    const DeafListener deaf;
    const std::uint16_t port = unusedPort();
    keep("localhost", port, deaf.endpoint().port());
    const HttpsAnswer answer
        = get("https://localhost:" + std::to_string(port) + "/", std::chrono::milliseconds(100));
    ASSERT_TRUE(answer.error);
    EXPECT_EQ(answer.error->localizedDescription, "localhost did not answer within 0.1 seconds");
}

TEST_F(KnownAddressTest, WhereTlsFailsIsForgotten) {
    const TestServer server(serverContext(makeIdentity({}, nullptr)), sayOk);
    EXPECT_TRUE(get(server.url("/")).error);
    EXPECT_FALSE(isKnown("localhost", server.port()));
}

} // namespace
