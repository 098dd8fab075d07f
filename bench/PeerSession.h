// SPDX-License-Identifier: MIT
// A signing server in this process and one connected peer: the agent, or a program that it is
// compared with.
#pragma once

#include "bench/Measure.h"
#include "devserver/server/Server.h"
#include "tests/e2e/AgentProcess.h"

#include <boost/json/array.hpp>
#include <memory>
#include <string>
#include <vector>

/// Throws when the peer does not do what it should.
class PeerSession {
public:
    explicit PeerSession(const AgentHome& home);

    void startAgent();
    /// With a log of its own, mounted over the one that all agents share; that must be there.
    void startAgentWithLog(const std::string& log);
    void startOther(const std::string& program, const std::vector<std::string>& arguments);

    std::string port() const { return std::to_string(m_server.port()); }
    /// The file of the certificate that a peer has to trust.
    std::string authority() const { return (m_home.path() / "ca.pem").string(); }

    /// Seconds from the start of the process to its answer to `greeting`.
    double startTime(const std::string& greeting);
    void send(const std::string& envelope);
    /// The body of the next answer.
    std::string receive();
    /// Seconds from a command to its answer, which goes to `answer`.
    double roundTrip(const std::string& envelope, std::string* answer = nullptr);

    /// Seconds that the peer has worked so far, in the program and in the system.
    double workingTime() const;

    /// Ends the peer; its peak memory in bytes.
    std::size_t end();

private:
    void start(std::unique_ptr<AgentProcess> peer);

    const AgentHome& m_home;
    devserver::Server m_server;
    Clock::time_point m_began;
    std::unique_ptr<AgentProcess> m_peer;
    std::shared_ptr<devserver::AgentSession> m_session;
};

/// The list of certificates in an answer, which travels as Base64 of JSON.
boost::json::array certificatesIn(const std::string& answer);

/// The digest of a listed certificate.
std::string digestInList(const std::string& answer, std::size_t index);
