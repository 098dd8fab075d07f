// SPDX-License-Identifier: MIT
#include "tests/devserver/TestClient.h"

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

class RestTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(server.start(), std::nullopt); }

    Server server{{.latestVersion = "1.10", .downloadUrl = "https://example.org/get"}};
};

TEST_F(RestTest, VersionEndpointTellsTheLatestVersion) {
    const HttpReply reply = request(server, "/update/version?os=macos");
    EXPECT_EQ(reply.status, 200U) << reply.error;
    EXPECT_EQ(reply.body, R"({"value":"1.10"})");
}

TEST_F(RestTest, BundleEndpointTellsTheDownloadAddress) {
    const HttpReply reply = request(server, "/update/bundle?os=macos&version=1.10");
    EXPECT_EQ(reply.status, 200U) << reply.error;
    EXPECT_EQ(reply.body, R"({"value":"https://example.org/get"})");
}

TEST_F(RestTest, EndpointsAnswerUnderAnyPrefix) {
    EXPECT_EQ(request(server, "/a/b%20c/update/version?os=macos").status, 200U);
}

TEST_F(RestTest, UnknownTargetsAreNotFound) {
    for (const char* target : {"/", "/update/version", "/update/version?os=beos", "/update",
             "/update/bundle?os=macos", "/room/1"}) {
        const HttpReply reply = request(server, target);
        EXPECT_EQ(reply.status, 404U) << target;
        EXPECT_EQ(reply.body, R"({"status":404,"message":"Not found"})") << target;
    }
}

TEST_F(RestTest, OtherMethodsAreNotAllowed) {
    EXPECT_EQ(request(server, "/update/version?os=macos", "127.0.0.1", "POST").status, 405U);
}

TEST_F(RestTest, AnswerIsReplacedForOneEndpointUntilTakenBack) {
    server.setAnswer(Endpoint::version, HttpAnswer{503, "not JSON", {{"Location", "/there"}}});
    const HttpReply replaced = request(server, "/update/version?os=macos");
    EXPECT_EQ(replaced.status, 503U);
    EXPECT_EQ(replaced.body, "not JSON");
    EXPECT_EQ(replaced.location, "/there");
    EXPECT_EQ(request(server, "/update/bundle?os=macos&version=1").status, 200U);
    server.setAnswer(Endpoint::version, std::nullopt);
    EXPECT_EQ(request(server, "/update/version?os=macos").status, 200U);
}

TEST_F(RestTest, RequestsAreRecordedRawAndInOrder) {
    request(server, "/p%C3%A4/update/version?os=macos");
    request(server, "/nothing");
    const std::vector<RecordedRequest> requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/p%C3%A4/update/version?os=macos");
    ASSERT_NE(requests[0].header("x-test"), nullptr);
    EXPECT_EQ(*requests[0].header("x-test"), "yes");
    EXPECT_EQ(requests[0].header("x-other"), nullptr);
    EXPECT_EQ(requests[1].target, "/nothing");
}

TEST(ServerTest, PortThatIsTakenIsToldInWords) {
    Server first;
    ASSERT_EQ(first.start(), std::nullopt);
    Server second({.port = first.port()});
    const std::optional<std::string> reason = second.start();
    ASSERT_TRUE(reason);
    EXPECT_EQ(
        reason->find("port " + std::to_string(first.port()) + " cannot be listened on: "), 0U);
}

TEST(ServerTest, StoppedServerRefusesConnections) {
    Server server;
    ASSERT_EQ(server.start(), std::nullopt);
    server.stop();
    EXPECT_EQ(request(server, "/").status, 0U);
}

TEST(ServerTest, LinkNamesHostPortPathAndRoom) {
    Server server;
    ASSERT_EQ(server.start(), std::nullopt);
    const std::string address = "quillet://localhost:" + std::to_string(server.port());
    EXPECT_EQ(server.link("r1"), address + "?roomId=r1");
    EXPECT_EQ(server.link("a b&c/\xC3\xA4", "/sign here"),
        address + "/sign%20here?roomId=a%20b%26c%2F%C3%A4");
}

} // namespace
} // namespace devserver::test
