// SPDX-License-Identifier: MIT
// Data tasks against a server on the loopback interface.
#include "platform/linux/net/LinuxNetwork.h"
#include "tests/linux-network/TestServer.h"
#include "tests/support/TestApplication.h"

#include <boost/asio/write.hpp>
#include <future>
#include <gtest/gtest.h>

namespace {

using platform::linux_::LinuxNetwork;
using platform::linux_::LinuxNetworkOptions;

struct Answer {
    std::optional<std::string> data;
    std::optional<platform::URLResponse> response;
    std::string error;
    std::thread::id thread;
};

class HttpsGetTest : public testing::Test {
protected:
    Answer get(const std::string& url, LinuxNetworkOptions options = {}) {
        LinuxNetwork network(m_application, std::move(options));
        std::promise<Answer> promise;
        const auto task = network.dataTaskWithURL(url, [&](auto data, auto response, auto error) {
            promise.set_value({std::move(data), std::move(response),
                error ? error->localizedDescription : "", std::this_thread::get_id()});
        });
        task->resume();
        task->resume(); // has no further effect: a second answer would throw
        auto future = promise.get_future();
        if (future.wait_for(patience) != std::future_status::ready) {
            ADD_FAILURE() << "no answer";
            std::abort();
        }
        return future.get();
    }

    /// The answer to the first request of a server that sends `response`.
    Answer getOf(const std::string& response) {
        const TestServer server(m_context, answering(response));
        return get(server.url("/value"));
    }

    const ServerContext m_context = serverContext(trustedIdentity());
    TestApplication m_application;
};

TEST_F(HttpsGetTest, AnswerOfAnyStatusIsDataAndResponse) {
    const TestServer server(m_context,
        answering("HTTP/1.1 404 Not Found\r\nContent-Length: 14\r\n\r\n{\"status\":404}"));
    const Answer answer = get(server.url("/update/version?os=macos"));
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.data, "{\"status\":404}");
    ASSERT_TRUE(answer.response);
    EXPECT_EQ(answer.response->statusCode, 404);
    EXPECT_EQ(answer.response->url, server.url("/update/version?os=macos"));
}

TEST_F(HttpsGetTest, CompletionRunsNeitherOnMainThreadNorAsPostedEvent) {
    const Answer answer = getOf("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_NE(answer.thread, std::this_thread::get_id());
    EXPECT_EQ(m_application.pending(), 0U);
    EXPECT_EQ(answer.data, "");
}

TEST_F(HttpsGetTest, RequestNamesHostWithPortAndAcceptsJson) {
    std::string request;
    const TestServer server(m_context, [&](TlsSocket& tls) {
        request = readRequest(tls);
        boost::asio::write(tls, boost::asio::buffer("HTTP/1.1 204 No Content\r\n\r\n", 27));
    });
    LinuxNetworkOptions options;
    options.userAgent = "Quillet/1.2";
    const Answer answer = get(server.url("/a%20b?c=d"), options);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(request,
        "GET /a%20b?c=d HTTP/1.1\r\nHost: localhost:" + std::to_string(server.port())
            + "\r\nUser-Agent: Quillet/1.2\r\nAccept: application/json\r\n"
              "Connection: close\r\n\r\n");
}

TEST_F(HttpsGetTest, ChunkedBodyIsRead) {
    const Answer answer = getOf("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
    EXPECT_EQ(answer.data, "abcde");
}

TEST_F(HttpsGetTest, ChunkedBodyThatEndsInABrokenTrailerIsRead) {
    EXPECT_EQ(getOf("HTTP/1.1 500 x\r\nTransfer-Encoding: chunked\r\n\r\n"
                    "2\r\nok\r\n0\r\nhe\r\n\r\n")
                  .data,
        "ok");
}

TEST_F(HttpsGetTest, BrokenChunksAreNoAnswer) {
    EXPECT_EQ(getOf("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nno chunk\r\n")
                  .error.find("localhost does not answer as a web server does"),
        0U);
}

TEST_F(HttpsGetTest, BodyEndedByCloseIsRead) {
    EXPECT_EQ(getOf("HTTP/1.1 200 OK\r\n\r\nuntil the end").data, "until the end");
}

TEST_F(HttpsGetTest, BodyEndedByCloseOfTcpAloneIsRead) {
    const TestServer server(m_context, [](TlsSocket& tls) {
        readRequest(tls);
        boost::asio::write(tls, boost::asio::buffer("HTTP/1.0 200 OK\r\n\r\nabc", 22));
        tls.next_layer().shutdown(boost::asio::socket_base::shutdown_both);
    });
    EXPECT_EQ(get(server.url("/")).data, "abc");
}

TEST_F(HttpsGetTest, InterimResponseIsSkipped) {
    const Answer answer = getOf("HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n"
                                "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(answer.data, "ok");
    EXPECT_EQ(answer.response.value().statusCode, 200);
}

TEST_F(HttpsGetTest, EndlessInterimResponsesAreNotReadForEver) {
    std::string response;
    for (int i = 0; i < 100; ++i) {
        response += "HTTP/1.1 103 Early Hints\r\n\r\n";
    }
    EXPECT_EQ(getOf(response + "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n").error,
        "localhost does not answer as a web server does");
}

TEST_F(HttpsGetTest, BodyOf64MebibytesIsReadAndOneByteMoreIsRefused) {
    const auto response = [](std::size_t length) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n"
            + std::string(length, 'x');
    };
    constexpr std::size_t longest = std::size_t{64} << 20;
    EXPECT_EQ(getOf(response(longest)).data.value_or("").size(), longest);
    EXPECT_EQ(getOf(response(longest + 1)).error, "localhost sent an answer that is too long");
}

TEST_F(HttpsGetTest, OversizeBodyWithoutLengthIsRefused) {
    const Answer answer
        = getOf("HTTP/1.1 200 OK\r\n\r\n" + std::string((std::size_t{64} << 20) + 1, 'x'));
    EXPECT_EQ(answer.error, "localhost sent an answer that is too long");
    EXPECT_FALSE(answer.data);
}

TEST_F(HttpsGetTest, BodyCutShortIsALostConnection) {
    const Answer answer = getOf("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    EXPECT_EQ(answer.error, "the connection to localhost was lost");
}

TEST_F(HttpsGetTest, AnswerCutAfterAnyByteIsALostConnection) {
    const std::string response = "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n{\"value\":\"1.0\"}";
    for (std::size_t cut = 0; cut < response.size(); ++cut) {
        EXPECT_EQ(getOf(response.substr(0, cut)).error, "the connection to localhost was lost")
            << cut;
    }
    EXPECT_EQ(getOf(response).data, "{\"value\":\"1.0\"}");
}

TEST_F(HttpsGetTest, AnswerThatIsNotHttpIsToldSo) {
    EXPECT_EQ(getOf("SSH-2.0-OpenSSH_9.2\r\n\r\n")
                  .error.find("localhost does not answer as a web server does"),
        0U);
}

TEST_F(HttpsGetTest, RedirectsAreFollowedRelativeAndAbsolute) {
    for (const std::string status : {"301", "302", "303", "307", "308"}) {
        std::string last;
        const TestServer server(m_context, [&](TlsSocket& tls) {
            const std::string request = readRequest(tls);
            last = request.substr(0, request.find(" HTTP"));
            const std::string answer = last == "GET /dir/new?x=1"
                ? "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"
                : "HTTP/1.1 " + status + " See\r\nLocation: new?x=1#part\r\n\r\n";
            boost::asio::write(tls, boost::asio::buffer(answer));
        });
        const Answer answer = get(server.url("/dir/old"));
        EXPECT_EQ(answer.data, "ok") << status << answer.error;
        EXPECT_EQ(answer.response.value().url, server.url("/dir/new?x=1"));
        EXPECT_EQ(server.connections(), 2);
    }
}

TEST_F(HttpsGetTest, RedirectToHttpIsRefused) {
    EXPECT_EQ(getOf("HTTP/1.1 302 Found\r\nLocation: http://localhost/\r\n\r\n").error,
        "localhost redirects to an address that is not https");
}

TEST_F(HttpsGetTest, RedirectWithoutLocationIsTheAnswer) {
    const Answer answer = getOf("HTTP/1.1 302 Found\r\nContent-Length: 1\r\n\r\nx");
    EXPECT_EQ(answer.data, "x");
    EXPECT_EQ(answer.response.value().statusCode, 302);
}

TEST_F(HttpsGetTest, EleventhRedirectIsRefused) {
    const TestServer server(m_context, answering("HTTP/1.1 302 Found\r\nLocation: /\r\n\r\n"));
    EXPECT_EQ(get(server.url("/")).error, "localhost redirects too often");
    EXPECT_EQ(server.connections(), 11);
}

TEST_F(HttpsGetTest, PortThatNobodyListensOnRefuses) {
    const std::string port = std::to_string(unusedPort());
    EXPECT_EQ(get("https://localhost:" + port + "/").error,
        "localhost refused the connection on port " + port);
}

TEST_F(HttpsGetTest, PortAboveTheHighestIsAnErrorText) {
    EXPECT_EQ(
        get("https://localhost:70000/").error, "port 70000 does not exist, ports are 1 to 65535");
}

TEST_F(HttpsGetTest, OtherSchemesAndBrokenAddressesAreErrorTexts) {
    EXPECT_EQ(
        get("http://localhost/").error, "the address http://localhost/ is not an https address");
    EXPECT_EQ(get("https://local host/").error, "the address https://local host/ cannot be read");
    EXPECT_EQ(get("https://a%20b/").error, "a b is not a host name");
}

TEST_F(HttpsGetTest, UnknownNameCouldNotBeFoundOrLookedUp) {
    const std::string error = get("https://no-such-host.invalid/").error;
    EXPECT_EQ(error.find("name no-such-host.invalid could not be "), 0U) << error;
}

TEST_F(HttpsGetTest, PercentEncodedHostIsDecoded) {
    const TestServer server(m_context, sayOk);
    EXPECT_EQ(get("https://%6cocalhost:" + std::to_string(server.port()) + "/").data, "ok");
}

TEST_F(HttpsGetTest, SilentServerIsGivenUpAfterTheLimit) {
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(m_context, [&](TlsSocket&) { waiting.wait_for(patience); });
    LinuxNetworkOptions options;
    options.stallLimit = std::chrono::milliseconds(500);
    EXPECT_EQ(get(server.url("/"), options).error, "localhost did not answer within 0.5 seconds");
    over.set_value();
}

TEST_F(HttpsGetTest, AnswerThatDripsIsGivenUpAfterTheLimitOfTheWholeRequest) {
    const TestServer server(m_context, [&](TlsSocket& tls) {
        readRequest(tls);
        boost::asio::write(tls, boost::asio::buffer("HTTP/1.1 200 OK\r\n\r\n", 19));
        while (true) { // until the client closes
            boost::asio::write(tls, boost::asio::buffer("x", 1));
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    LinuxNetworkOptions options;
    options.requestLimit = std::chrono::milliseconds(500);
    EXPECT_EQ(get(server.url("/"), options).error, "localhost did not answer within 0.5 seconds");
}

TEST_F(HttpsGetTest, LimitOfTheWholeRequestHoldsOverRedirectsToo) {
    const TestServer server(m_context, [&](TlsSocket& tls) {
        readRequest(tls);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const std::string answer = "HTTP/1.1 302 Found\r\nLocation: /\r\n\r\n";
        boost::asio::write(tls, boost::asio::buffer(answer));
    });
    LinuxNetworkOptions options;
    options.requestLimit = std::chrono::milliseconds(350);
    EXPECT_EQ(get(server.url("/"), options).error, "localhost did not answer within 0.35 seconds");
}

TEST_F(HttpsGetTest, CompletionMayFlushTheNetwork) {
    const TestServer server(m_context, sayOk);
    LinuxNetwork network(m_application);
    std::promise<void> flushed;
    network
        .dataTaskWithURL(server.url("/"),
            [&](auto, auto, auto) {
                network.flush(patience);
                flushed.set_value();
            })
        ->resume();
    EXPECT_EQ(flushed.get_future().wait_for(patience), std::future_status::ready);
}

TEST_F(HttpsGetTest, NetworkMayGoWhileATaskWaits) {
    std::promise<void> asked;
    std::promise<void> over;
    auto waiting = over.get_future();
    const TestServer server(m_context, [&](TlsSocket& tls) {
        readRequest(tls);
        asked.set_value();
        waiting.wait_for(patience);
    });
    std::atomic<bool> told = false;
    {
        LinuxNetwork network(m_application);
        network.dataTaskWithURL(server.url("/"), [&](auto, auto, auto) { told = true; })->resume();
        asked.get_future().wait_for(patience);
    }
    over.set_value();
    EXPECT_FALSE(told);
}

} // namespace
