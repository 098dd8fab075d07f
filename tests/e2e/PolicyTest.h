// SPDX-License-Identifier: MIT
// The real agent under an administrator's policy, which a mount of the test's own puts in place.
#pragma once

#include "tests/e2e/SessionTest.h"

#include <algorithm>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// A port of the loopback interface that takes no connection on, but knows of each.
class Listener {
public:
    Listener() {
        for (const int family : {AF_INET, AF_INET6}) {
            const int descriptor = socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (descriptor < 0 || !bindTo(descriptor, family) || listen(descriptor, 16) != 0) {
                close(descriptor); // a system without that family, or the port is taken there
            } else {
                m_descriptors.push_back(descriptor);
            }
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() {
        for (const int descriptor : m_descriptors) {
            close(descriptor);
        }
    }

    std::string port() const { return std::to_string(m_port); }
    bool isListening() const { return !m_descriptors.empty(); }
    bool sawConnection() const {
        return std::any_of(m_descriptors.begin(), m_descriptors.end(), [](int descriptor) {
            const int connection = accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC);
            return connection >= 0 && close(connection) == 0;
        });
    }

private:
    /// The second family at the port of the first.
    bool bindTo(int descriptor, int family) {
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_port = htons(m_port);
        v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr_in6 v6{};
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(m_port);
        v6.sin6_addr = in6addr_loopback;
        const bool isLong = family == AF_INET6;
        const void* const address = isLong ? static_cast<void*>(&v6) : static_cast<void*>(&v4);
        socklen_t size = isLong ? sizeof v6 : sizeof v4;
        if (bind(descriptor, static_cast<const sockaddr*>(address), size) != 0) {
            return false;
        }
        if (!isLong) {
            getsockname(descriptor, static_cast<sockaddr*>(static_cast<void*>(&v4)), &size);
            m_port = ntohs(v4.sin_port);
        }
        return true;
    }

    std::vector<int> m_descriptors;
    std::uint16_t m_port = 0;
};

class PolicyTest : public SessionTest {
protected:
    explicit PolicyTest(devserver::ServerOptions options = {})
        : SessionTest(std::move(options)) { }
    void SetUp() override {
        if (!AgentHome::canSetPolicy()) {
            GTEST_SKIP() << "this user may not mount, so no policy can be put in place";
        }
        SessionTest::SetUp();
    }

    void setRules(const std::string& rules) { home.setPolicy(R"({"version":1,)" + rules + "}"); }
    std::string port() const { return std::to_string(server.port()); }
    /// The server itself, as a list of servers has it.
    std::string thisServer() const { return "\"localhost:" + port() + "\""; }
    /// A link to the listener is refused in these words, and the listener is left alone.
    void expectRefusal(
        const std::string& host, const std::string& message, const std::string& details) {
        ASSERT_TRUE(listener.isListening());
        startAgent({"quillet://" + host + ":" + listener.port() + "/?roomId=1"});
        expectFatalAlert(message, details);
        EXPECT_FALSE(listener.sawConnection()) << host;
    }

    Listener listener;
};
