// SPDX-License-Identifier: MIT
// Which certificates and TLS servers are accepted, and the words for those that are not.
#include "platform/linux/net/LinuxNetwork.h"
#include "platform/linux/net/TlsContext.h"
#include "platform/linux/net/TlsLayer.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <future>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

namespace {

using platform::linux_::LinuxNetwork;

/// The error's text, or the body when there is none.
std::string get(const std::string& url) {
    TestApplication application;
    LinuxNetwork network(application);
    std::promise<std::string> promise;
    network
        .dataTaskWithURL(url,
            [&](auto data, auto, auto error) {
                promise.set_value(error ? error->localizedDescription : *data);
            })
        ->resume();
    auto future = promise.get_future();
    EXPECT_EQ(future.wait_for(patience), std::future_status::ready);
    return future.get();
}

std::string getFrom(const ServerContext& context, const std::string& host = "localhost") {
    const TestServer server(context, sayOk);
    return get("https://" + host + ':' + std::to_string(server.port()) + "/");
}

std::string getWith(const CertificateRequest& request, const std::string& host = "localhost") {
    return getFrom(serverContext(trustedIdentity(request)), host);
}

TEST(TlsTest, TrustedCertificateForTheNameConnects) {
    EXPECT_EQ(getWith({}), "ok");
}

TEST(TlsTest, CertificateForTheAddressConnects) {
    EXPECT_EQ(getWith({}, "127.0.0.1"), "ok");
}

TEST(TlsTest, WildcardOfASubdomainDoesNotCoverTheNameAbove) {
    CertificateRequest request;
    request.alternativeNames = "DNS:*.test.localhost";
    const std::string refusal = getWith(request);
    EXPECT_EQ(refusal, "certificate does not belong to localhost");
}

TEST(TlsTest, ExpiredCertificateIsRefused) {
    CertificateRequest request;
    request.validFromSeconds = -7200;
    request.validForSeconds = -3600;
    EXPECT_EQ(getWith(request), "certificate of localhost has expired");
}

TEST(TlsTest, CertificateNotYetValidIsRefused) {
    CertificateRequest request;
    request.validFromSeconds = 3600;
    EXPECT_EQ(getWith(request), "certificate of localhost is not yet valid");
}

TEST(TlsTest, CertificateForAnotherNameIsRefused) {
    CertificateRequest request;
    request.alternativeNames = "DNS:other.example";
    EXPECT_EQ(getWith(request), "certificate does not belong to localhost");
}

TEST(TlsTest, CertificateForAnotherAddressIsRefused) {
    CertificateRequest request;
    request.alternativeNames = "IP:127.0.0.2,DNS:127.0.0.1";
    EXPECT_EQ(getWith(request, "127.0.0.1"), "certificate does not belong to 127.0.0.1");
}

TEST(TlsTest, CommonNameAloneDoesNotCount) {
    CertificateRequest request;
    request.alternativeNames.clear();
    EXPECT_EQ(getWith(request), "certificate does not belong to localhost");
}

TEST(TlsTest, SelfSignedCertificateIsRefused) {
    EXPECT_EQ(getFrom(serverContext(makeIdentity({}, nullptr))),
        "certificate of localhost is self-signed and not trusted by this computer");
}

TEST(TlsTest, UnknownAuthorityIsRefused) {
    const TestIdentity authority = makeIdentity({"Stranger", "", -3600, 86400, true}, nullptr);
    const auto refusal
        = "certificate of localhost was issued by an authority that this computer does not trust";
    EXPECT_EQ(getFrom(serverContext(makeIdentity({}, &authority))), refusal);
    EXPECT_EQ(getFrom(serverContext(makeIdentity({}, &authority), {authority})), refusal);
}

TEST(TlsTest, IntermediateConnectsWhenSentAndIsRefusedWhenMissing) {
    const TestIdentity intermediate
        = makeIdentity({"Intermediate", "", -3600, 86400, true}, &trustedAuthority());
    const TestIdentity leaf = makeIdentity({}, &intermediate);
    EXPECT_EQ(getFrom(serverContext(leaf, {intermediate})), "ok");
    EXPECT_EQ(getFrom(serverContext(leaf)),
        "certificate of localhost was issued by an authority that this computer does not trust");
}

TEST(TlsTest, IntermediatesInTheWrongOrderConnect) {
    const TestIdentity first = makeIdentity({"First", "", -3600, 86400, true}, &trustedAuthority());
    const TestIdentity second = makeIdentity({"Second", "", -3600, 86400, true}, &first);
    const TestIdentity leaf = makeIdentity({}, &second);
    EXPECT_EQ(getFrom(serverContext(leaf, {first, second})), "ok");
}

TEST(TlsTest, ServerOfOldVersionsAloneIsRefused) {
    const ServerContext context = serverContext(trustedIdentity());
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context->native_handle(), TLS1_1_VERSION);
    SSL_CTX_set_cipher_list(context->native_handle(), "DEFAULT:@SECLEVEL=0");
    EXPECT_EQ(getFrom(context), "localhost does not offer TLS 1.2 or later");
}

TEST(TlsTest, TheNewerVersionsConnect) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        const ServerContext context = serverContext(trustedIdentity());
        SSL_CTX_set_max_proto_version(context->native_handle(), version);
        SSL_CTX_set_min_proto_version(context->native_handle(), version);
        EXPECT_EQ(getFrom(context), "ok");
    }
}

TEST(TlsTest, ServerThatSpeaksSomethingElseIsToldSo) {
    for (const std::string_view garbage : {"HTTP/1.1 400 Bad Request\r\n\r\n",
             "SSH-2.0-OpenSSH_9.2\r\n", "\x16\x03\x01\xff\xff..."}) {
        const TestServer server([&](TcpSocket& socket) {
            char hello[1];
            boost::asio::read(socket, boost::asio::buffer(hello));
            boost::asio::write(socket, boost::asio::buffer(garbage));
            boost::system::error_code ignored;
            std::string rest;
            boost::asio::read(socket, boost::asio::dynamic_buffer(rest), ignored);
        });
        EXPECT_EQ(get(server.url("/")),
            "localhost does not speak TLS on port " + std::to_string(server.port()));
    }
}

TEST(TlsTest, ServerThatHangsUpInTheHandshakeIsALostConnection) {
    const TestServer server([](TcpSocket& socket) {
        char hello[1];
        boost::asio::read(socket, boost::asio::buffer(hello));
    });
    EXPECT_EQ(get(server.url("/")), "the connection to localhost was lost");
}

TEST(TlsTest, ServerMayAskForNewKeysAtAnyTime) {
    const std::string body(std::size_t{1} << 20, 'x');
    const TestServer server(serverContext(trustedIdentity()), [&](TlsSocket& tls) {
        readRequest(tls);
        const std::string answer
            = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
        boost::asio::write(tls, boost::asio::buffer(answer));
        SSL_key_update(tls.native_handle(), SSL_KEY_UPDATE_REQUESTED);
        boost::asio::write(tls, boost::asio::buffer(body));
        // What the client says afterwards comes under its new keys.
        boost::system::error_code ended;
        std::string rest;
        boost::asio::read(tls, boost::asio::dynamic_buffer(rest), ended);
        EXPECT_NE(ended.category(), boost::asio::error::get_ssl_category()) << ended.message();
    });
    EXPECT_EQ(get("https://localhost:" + std::to_string(server.port()) + "/"), body);
}

TEST(TlsTest, ServerLearnsTheNameThatIsAskedFor) {
    std::string name;
    const TestServer server(serverContext(trustedIdentity()), [&](TlsSocket& tls) {
        const char* sent = SSL_get_servername(tls.native_handle(), TLSEXT_NAMETYPE_host_name);
        name = sent != nullptr ? sent : "";
        sayOk(tls);
    });
    get(server.url("/"));
    EXPECT_EQ(name, "localhost");
}

TEST(TlsTest, WriteAfterAFailedReadTellsWhatTheReadTold) {
    const TestServer server(serverContext(trustedIdentity()), [](TlsSocket& tls) {
        boost::asio::write(tls.next_layer(), boost::asio::buffer(std::string(1000, 'g')));
        boost::system::error_code ignored;
        std::string rest;
        boost::asio::read(tls.next_layer(), boost::asio::dynamic_buffer(rest), ignored);
    });
    boost::asio::io_context io;
    TcpSocket socket(io);
    socket.connect({boost::asio::ip::address_v4::loopback(), server.port()});
    const auto context = platform::linux_::makeTlsContext();
    ASSERT_TRUE(context);
    const auto layer = std::make_shared<platform::linux_::TlsLayer>(std::move(socket), **context);
    boost::system::error_code handshake, read, written;
    boost::asio::co_spawn(io, layer->shakeHands(),
        [&](const std::exception_ptr&, const boost::system::error_code& error) {
            handshake = error;
        });
    io.run();
    ASSERT_FALSE(handshake);
    char byte = 0;
    layer->readSome(boost::asio::buffer(&byte, 1),
        [&](const boost::system::error_code& error, std::size_t) { read = error; });
    io.restart();
    io.run();
    layer->writeSome(boost::asio::buffer(&byte, 1),
        [&](const boost::system::error_code& error, std::size_t) { written = error; });
    io.restart();
    io.run();
    EXPECT_EQ(read.category(), boost::asio::error::get_ssl_category());
    EXPECT_EQ(written, read);
}

} // namespace
