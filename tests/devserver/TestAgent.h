// SPDX-License-Identifier: MIT
// An agent of its own that answers a server's commands, on a thread of its own.
#pragma once

#include "tests/devserver/TestClient.h"
#include "tests/documents/TestSigner.h"

#include <functional>
#include <string>
#include <thread>

#include <boost/json/object.hpp>

namespace devserver::test {

class TestAgent {
public:
    struct Manner {
        boost::json::object changes = {}; // put into the payloads of signing answers
        std::string leavesAt = {}; // a command at which the connection is dropped
        std::string hangsAt = {}; // a command from which on nothing is answered
        bool hasCertificates = true;
    };

    TestAgent();
    ~TestAgent();

    /// Joins a room and answers until the connection ends.
    void start(std::uint16_t port, const std::string& authorityPem, const std::string& room,
        Manner manner);
    void start(std::uint16_t port, const std::string& authorityPem, const std::string& room) {
        start(port, authorityPem, room, Manner());
    }
    /// Waits for the end of the connection; the last ERROR frame's message, or empty.
    std::string finish();

    const TestSigner& signer() const { return m_signer; }
    const std::string& digest() const { return m_digest; }

private:
    void run(std::uint16_t port, const std::string& authorityPem, const std::string& room,
        const Manner& manner);
    std::string answerTo(const boost::json::object& request, const Manner& manner) const;

    const TestSigner m_signer;
    const std::string m_digest;
    std::string m_error;
    std::thread m_thread;
};

} // namespace devserver::test
