// SPDX-License-Identifier: MIT
// What a long message costs: a server must not fill the memory with a few of them.
#include "tests/e2e/SessionTest.h"

namespace {

constexpr std::size_t length = 8 << 20; // of the long text
constexpr double mostCopies = 3.5;
constexpr std::size_t apartFromIt = 2 << 20;

} // namespace

class LongMessage : public SessionTest {
protected:
    void SetUp() override {
        if (QUILLET_IS_SANITIZED) {
            GTEST_SKIP() << "sanitizers keep memory that was given back";
        }
        SessionTest::SetUp();
        home.makeIdentities(1);
    }

    void expectFewCopies(const json::object& payload, const std::string& requestId) {
        session->sendCommand(
            "SIGN_XML", xmlRequest("<short/>"), json::value("before")); // all is loaded now
        receive("SIGN_XML_RESPONSE");
        const std::size_t before = agent->peakMemory();
        session->sendCommand("SIGN_XML", payload, json::value(requestId));
        receive("SIGN_XML_RESPONSE");
        const std::size_t taken = agent->peakMemory() - before;
        EXPECT_LE(static_cast<double>(taken), mostCopies * length + apartFromIt);
        EXPECT_GT(taken, length / 2) << "nothing was measured";
    }
};

TEST_F(LongMessage, RequestIdIsNotKeptManyTimes) {
    startSession();
    expectFewCopies(xmlRequest("<short/>"), std::string(length, 'x'));
}

TEST_F(LongMessage, SignedInfoIsNotKeptManyTimes) {
    startSession();
    expectFewCopies(xmlRequest("<a>" + std::string(length, 'x') + "</a>"), "after");
}
