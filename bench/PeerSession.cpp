// SPDX-License-Identifier: MIT
#include "bench/PeerSession.h"

#include "devserver/crypto/Encoding.h"

#include <boost/json.hpp>
#include <ctime>
#include <stdexcept>
#include <unistd.h>

namespace json = boost::json;

namespace {

constexpr std::chrono::seconds limit{120};

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

} // namespace

PeerSession::PeerSession(const AgentHome& home)
    : m_home(home) {
    if (const auto problem = m_server.start()) {
        fail(*problem);
    }
    m_server.writeAuthority(authority());
}

void PeerSession::startAgent() {
    m_began = Clock::now();
    start(std::make_unique<AgentProcess>(m_home, std::vector{m_server.link("bench")},
        std::map<std::string, std::string>{{"SSL_CERT_FILE", authority()}}));
}

void PeerSession::startAgentWithLog(const std::string& log) {
    constexpr const char* script = "mount --make-rprivate / && mount --bind \"$0\" /tmp/Quillet.log"
                                   " && exec \"$@\"";
    std::vector<std::string> words{"--mount"};
    if (geteuid() != 0) {
        words.push_back("--map-root-user");
    }
    words.insert(
        words.end(), {"/bin/sh", "-c", script, log, QUILLET_AGENT, m_server.link("bench")});
    start(std::make_unique<AgentProcess>(m_home, words,
        std::map<std::string, std::string>{{"SSL_CERT_FILE", authority()}}, "/usr/bin/unshare"));
}

void PeerSession::startOther(
    const std::string& program, const std::vector<std::string>& arguments) {
    m_began = Clock::now();
    start(std::make_unique<AgentProcess>(
        m_home, arguments, std::map<std::string, std::string>{}, program));
}

void PeerSession::start(std::unique_ptr<AgentProcess> peer) {
    m_peer = std::move(peer);
    m_session = m_server.waitForAgent("bench", limit);
    if (!m_session) {
        fail("the peer does not connect: " + m_peer->output() + m_peer->standardError());
    }
}

double PeerSession::startTime(const std::string& greeting) {
    send(greeting);
    receive();
    return secondsSince(m_began);
}

void PeerSession::send(const std::string& envelope) {
    m_session->sendEnvelope(envelope);
}

std::string PeerSession::receive() {
    auto frame = m_session->receiveFrame(limit);
    if (!frame) {
        fail("no answer: " + m_peer->standardError());
    }
    return std::move(frame->body);
}

double PeerSession::roundTrip(const std::string& envelope, std::string* answer) {
    const auto began = Clock::now();
    send(envelope);
    std::string body = receive();
    const double time = secondsSince(began);
    if (answer != nullptr) {
        *answer = std::move(body);
    }
    return time;
}

double PeerSession::workingTime() const {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(m_peer->pid(), &clock) != 0 || clock_gettime(clock, &time) != 0) {
        fail("the peer is gone");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::size_t PeerSession::end() {
    const std::size_t peak = m_peer->peakMemory();
    m_session->sendCommand("TERMINATE_CLIENT");
    if (m_peer->waitForEnd() != ProcessEnd{0, 0}) {
        fail("the peer did not end as it should: " + m_peer->standardError());
    }
    return peak;
}

json::array certificatesIn(const std::string& answer) {
    const auto list
        = devserver::base64Decoded(json::parse(answer).at("payload").as_string().c_str());
    if (!list) {
        fail("the list is no Base64");
    }
    return json::parse(*list).as_array();
}

std::string digestInList(const std::string& answer, std::size_t index) {
    return std::string(certificatesIn(answer).at(index).at("certificateDigest").as_string());
}
