// SPDX-License-Identifier: MIT
// The whole program over real connections that are cut, dripped, reset or filled with garbage.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/ServerBytes.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/PlatformWithNetwork.h"
#include "tests/support/ProcessEnd.h"
#include "tests/support/StompText.h"
#include "tests/support/TestApplication.h"

#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

namespace {

namespace asio = boost::asio;

using platform::linux_::LinuxNetwork;
using testing::Contains;
using testing::EndsWith;
using testing::Not;
using testing::StartsWith;

TcpSocket& tcpOf(TlsSocket& tls) {
    return tls.next_layer();
}

void writeTo(TlsSocket& tls, std::string_view bytes) {
    asio::write(tls, asio::buffer(bytes.data(), bytes.size()));
}

/// The next close resets the connection.
void closeByReset(TlsSocket& tls) {
    tcpOf(tls).set_option(asio::socket_base::linger(true, 0));
}

/// What the client still sends, until it ends the connection.
void readToItsEnd(TlsSocket& tls) {
    std::string rest;
    boost::system::error_code error;
    while (!error) {
        rest.resize(std::size_t{64} << 10);
        tls.read_some(asio::buffer(rest), error);
    }
}

class CutConnection : public testing::Test {
protected:
    /// How the process ends after a session with a server of this script.
    std::string endWith(const TlsScript& script) {
        const TestServer server(m_context, script);
        TestApplication application;
        LinuxNetwork network(application);
        PlatformWithNetwork platform(network);
        platform.security().addIdentity("Alice");
        ViewController view(platform.userInterface().statusTextView());
        view.viewDidLoad();
        const auto client = std::make_shared<ZqClient>(&view);
        client->connect("localhost", server.port(), "/room/r1", "r1");
        const std::string end
            = endOf([&] { application.runUntil([] { return false; }); }); // until it throws
        m_log = platform.memory.log();
        return end;
    }

    /// The same, expecting a lost connection; returns its cause.
    std::string causeOfLoss(const TlsScript& script) {
        EXPECT_EQ(endWith(script), "exit 0");
        EXPECT_EQ(m_log.back(), "STOMP client disconnected from server");
        const std::string& line = m_log.end()[-2];
        return line.substr(line.find(": ", line.find("wss://localhost:")) + 2);
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    std::vector<std::string> m_log;
};

enum class Cut { byClose, byReset, byTlsClose };

class CutAfterEveryByte : public CutConnection, public testing::WithParamInterface<Cut> { };

std::string cutName(const testing::TestParamInfo<Cut>& info) {
    switch (info.param) {
    case Cut::byClose:
        return "ByClose";
    case Cut::byReset:
        return "ByReset";
    case Cut::byTlsClose:
        break;
    }
    return "ByTlsClose";
}

} // namespace

TEST_P(CutAfterEveryByte, EndsTheProcessInGoodOrder) {
    const std::string session = serverFrame(1, connectedText())
        + serverFrame(1, messageText(R"({"command":"SERVER_CONNECT"})"));
    const std::size_t size = upgradeAnswer("Sec-WebSocket-Key: k\r\n").size() + session.size();
    for (std::size_t cut = 0; cut <= size; ++cut) {
        const std::string cause = causeOfLoss([&](TlsSocket& tls) {
            const std::string bytes = upgradeAnswer(readRequest(tls)) + session;
            writeTo(tls, std::string_view(bytes).substr(0, cut));
            if (GetParam() == Cut::byReset) {
                closeByReset(tls);
            } else if (GetParam() == Cut::byTlsClose) {
                boost::system::error_code ignored;
                tls.shutdown(ignored);
            }
        });
        ASSERT_EQ(cause, "the connection to localhost was lost") << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Real, CutAfterEveryByte, testing::Values(Cut::byClose, Cut::byReset, Cut::byTlsClose), cutName);

TEST_F(CutConnection, SessionInSegmentsOfOneByteIsServed) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        tcpOf(tls).set_option(asio::ip::tcp::no_delay(true));
        const std::string bytes
            = upgradeAnswer(readRequest(tls)) + sessionBytes() + closeBytes(1000);
        for (const char& byte : bytes) {
            writeTo(tls, {&byte, 1});
        }
        readToItsEnd(tls);
    });
    EXPECT_EQ(cause, "the server closed the connection");
    for (const char* answer :
        {"CLIENT_CONNECT", "CERTIFICATE_LIST", "SIGN_PDF_RESPONSE", "SIGN_XML_RESPONSE"}) {
        EXPECT_THAT(m_log, Contains(StartsWith(std::string("Sending message: ") + answer + ' ')));
    }
}

TEST_F(CutConnection, GarbageInsteadOfTheUpgradeIsNoWebServer) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        readRequest(tls);
        writeTo(tls, std::string(4096, '\x16') + "\r\n\r\n");
        readToItsEnd(tls);
    });
    EXPECT_THAT(cause, StartsWith("localhost does not answer as a web server does"));
}

TEST_F(CutConnection, GarbageAfterTheUpgradeBreaksTheWebSocketProtocol) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        writeTo(tls, upgradeAnswer(readRequest(tls)) + std::string(4096, '\xFF'));
        readToItsEnd(tls);
    });
    EXPECT_THAT(cause, StartsWith("localhost broke the WebSocket protocol"));
}

TEST_F(CutConnection, GarbageInTheMessagesBreaksTheStompProtocol) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        const std::string garbage = serverFrame(2, std::string(40'000, '\xFE'));
        writeTo(tls, upgradeAnswer(readRequest(tls)) + garbage + garbage);
        readToItsEnd(tls);
    });
    EXPECT_EQ(
        cause, "the server broke the STOMP protocol: a header line is longer than 65536 bytes");
}

TEST_F(CutConnection, GarbageBeyondTlsIsALostConnection) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        writeTo(tls, upgradeAnswer(readRequest(tls)) + serverFrame(1, connectedText()));
        asio::write(tcpOf(tls), asio::buffer(std::string(1000, 'g')));
        readToItsEnd(tls);
    });
    EXPECT_THAT(cause, Not(EndsWith("was lost"))); // but what TLS has to say of it
    EXPECT_THAT(cause, testing::HasSubstr("localhost"));
}

TEST_F(CutConnection, HalfClosedConnectionIsLost) {
    const std::string cause = causeOfLoss([](TlsSocket& tls) {
        writeTo(tls, upgradeAnswer(readRequest(tls)) + serverFrame(1, connectedText()));
        tcpOf(tls).shutdown(asio::socket_base::shutdown_send);
        readToItsEnd(tls);
    });
    EXPECT_EQ(cause, "the connection to localhost was lost");
}

TEST_F(CutConnection, ResetInTheMiddleOfALargeAnswerIsALostConnection) {
    const std::string requestId(std::size_t{16} << 20, 'r'); // comes back with the answer
    const std::string command = R"({"command":"SIGN_PDF","payload":{"certificateDigest":")"
        + certificateDigest
        + R"(","signatureAlgorithm":"SHA256withRSA","bytesToSign":"AAEC"},"requestId":")"
        + requestId + "\"}";
    const std::string cause = causeOfLoss([&](TlsSocket& tls) {
        ServerWebSocket socket(std::move(tls));
        socket.accept();
        socket.write(asio::buffer(connectedText()));
        socket.write(asio::buffer(messageText(command)));
        std::string answer(std::size_t{1} << 20, '\0');
        for (std::size_t read = 0; read < answer.size();) {
            read += socket.read_some(asio::buffer(answer));
        }
        closeByReset(socket.next_layer());
    });
    EXPECT_EQ(cause, "the connection to localhost was lost");
    EXPECT_THAT(m_log, Contains(StartsWith("Sending message: SIGN_PDF_RESPONSE ")));
}

TEST_F(CutConnection, EveryCloseCodeEndsTheSession) {
    for (const unsigned code : {1000U, 1001U, 1002U, 1003U, 1007U, 1008U, 1009U, 1010U, 1011U,
             1012U, 1013U, 3000U, 4999U}) {
        const std::string cause = causeOfLoss([&](TlsSocket& tls) {
            writeTo(tls,
                upgradeAnswer(readRequest(tls)) + serverFrame(1, connectedText())
                    + closeBytes(code));
            readToItsEnd(tls);
        });
        EXPECT_THAT(cause, StartsWith("the server closed the connection")) << code;
    }
    for (const unsigned code : {0U, 999U, 1004U, 1005U, 1006U, 1015U, 2999U}) {
        const std::string cause = causeOfLoss([&](TlsSocket& tls) {
            writeTo(tls, upgradeAnswer(readRequest(tls)) + closeBytes(code));
            readToItsEnd(tls);
        });
        EXPECT_THAT(cause, StartsWith("localhost broke the WebSocket protocol")) << code;
    }
}
