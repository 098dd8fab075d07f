// SPDX-License-Identifier: MIT
#include "devserver/program/Serve.h"

#include "devserver/program/Files.h"
#include "tests/devserver/SharedOutput.h"
#include "tests/devserver/TestClient.h"

#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace devserver::test {
namespace {

class ServeTest : public testing::Test {
protected:
    ServeTest() {
        EXPECT_EQ(pipe(input), 0);
        EXPECT_EQ(pipe(stop), 0);
        serving = std::thread([this] {
            LineReader reader(input[0], stop[0]);
            status = runServe({}, reader, output, errors);
        });
    }
    ~ServeTest() override {
        EXPECT_EQ(write(stop[1], "", 1), 1);
        serving.join();
        for (const int end : {input[0], input[1], stop[0], stop[1]}) {
            close(end);
        }
    }

    void type(const std::string& line) {
        EXPECT_EQ(write(input[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    bool join(const std::string& room) {
        std::string error;
        return output.waitFor("\n\n", patience)
            && client.join(static_cast<std::uint16_t>(
                               std::stoi(output.valueOf("server     https://localhost:"))),
                readFile(output.valueOf("authority  "), error).value_or(error), room);
    }

    std::string received() { return client.receive().value_or(stomp::Frame{}).body; }

    int input[2] = {-1, -1};
    int stop[2] = {-1, -1};
    int status = -1;
    SharedOutput output;
    SharedOutput errors;
    TestClient client;
    std::thread serving;
};

TEST_F(ServeTest, AgentOfAnyRoomIsGreetedAndSentWhatIsTyped) {
    ASSERT_TRUE(join("elsewhere")) << client.error;
    EXPECT_EQ(received(), R"({"command":"SERVER_CONNECT"})");
    type("diagnostics\n");
    EXPECT_EQ(received(), R"({"command":"GET_DIAGNOSTICS"})");
    ASSERT_TRUE(client.sendEnvelope("elsewhere", R"({"command":"DIAGNOSTICS"})"));
    EXPECT_TRUE(output.waitFor(R"(from agent 1  {"command":"DIAGNOSTICS"})", patience));
    EXPECT_TRUE(output.waitFor("agent 1 joined room elsewhere, STOMP 1.2", 0ms));
    EXPECT_TRUE(output.waitFor(R"(to agent 1    {"command":"GET_DIAGNOSTICS"})", 0ms));
    client.close();
    EXPECT_TRUE(output.waitFor("agent 1 has left", patience));
    type("diagnostics\n");
    EXPECT_TRUE(output.waitFor("no agent is in a room\n", patience));
}

TEST_F(ServeTest, ListedCertificatesAreShownWithTheirDigests) {
    ASSERT_TRUE(join("demo")) << client.error;
    // The payload is [{"name":"N","certificateDigest":"D="}].
    ASSERT_TRUE(client.sendEnvelope("demo",
        R"({"command":"CERTIFICATE_LIST","payload":)"
        R"("W3sibmFtZSI6Ik4iLCJjZXJ0aWZpY2F0ZURpZ2VzdCI6IkQ9In1d"})"));
    EXPECT_TRUE(output.waitFor("certificate D=  N\n", patience)) << output.text();
}

TEST_F(ServeTest, QuitEndsAndRemovesTheAuthority) {
    ASSERT_TRUE(join("demo")) << client.error;
    const std::string authority = output.valueOf("authority  ");
    EXPECT_TRUE(std::filesystem::exists(authority));
    type("help\nquit\n");
    EXPECT_EQ(client.waitForClose(), 0U);
    serving.join();
    EXPECT_EQ(status, 0) << errors.text();
    EXPECT_FALSE(std::filesystem::exists(authority));
    EXPECT_TRUE(output.waitFor("commands, sent to the agent", 0ms));
    serving = std::thread([] {});
}

TEST_F(ServeTest, EndOfInputKeepsServing) {
    close(input[1]);
    input[1] = dup(stop[1]);
    ASSERT_TRUE(join("demo")) << client.error;
    EXPECT_EQ(received(), R"({"command":"SERVER_CONNECT"})");
}

} // namespace
} // namespace devserver::test
