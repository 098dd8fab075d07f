// SPDX-License-Identifier: MIT
// Whole sessions of the real agent against the signing server on this machine.
#include "bench/Measure.h"
#include "bench/Table.h"
#include "devserver/server/Server.h"
#include "tests/e2e/AgentProcess.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cstdio>
#include <unistd.h>

namespace json = boost::json;

namespace {

constexpr std::chrono::seconds limit{120};
constexpr double mebi = 1024.0 * 1024.0;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

/// A server and one connected peer, which is the agent or the baseline.
class Session {
public:
    explicit Session(int identities) {
        m_home.makeIdentities(identities);
        if (const auto problem = m_server.start()) {
            fail(*problem);
        }
        m_server.writeAuthority(authority());
    }

    void startAgent() {
        m_began = Clock::now();
        start(std::make_unique<AgentProcess>(m_home, std::vector{m_server.link("bench")},
            std::map<std::string, std::string>{{"SSL_CERT_FILE", authority()}}));
    }
    void startPlainPeer() {
        m_began = Clock::now();
        start(std::make_unique<AgentProcess>(m_home,
            std::vector<std::string>{"localhost", std::to_string(m_server.port()), "/room/bench",
                authority(), (m_home.path() / "plain.log").string()},
            std::map<std::string, std::string>{}, QUILLET_PLAIN_PEER));
    }

    /// Seconds from the start of the process to its answer to the greeting, which any text under
    /// "pdfToSign" makes a command of the plain peer too.
    double startTime() {
        m_session->sendEnvelope(R"({"command":"SERVER_CONNECT","pdfToSign":""})");
        if (!m_session->receiveFrame(limit)) {
            fail("no answer");
        }
        return secondsSince(m_began);
    }

    /// Seconds from a command to its answer, which goes to `answer`.
    double roundTrip(const std::string& envelope, std::string* answer = nullptr) {
        const auto began = Clock::now();
        m_session->sendEnvelope(envelope);
        auto frame = m_session->receiveFrame(limit);
        const double time = secondsSince(began);
        if (!frame) {
            fail("no answer");
        }
        if (answer != nullptr) {
            *answer = std::move(frame->body);
        }
        return time;
    }

    /// Seconds that the peer has worked so far, in the program and in the system.
    double workingTime() const {
        const std::string path = "/proc/" + std::to_string(m_peer->pid()) + "/stat";
        unsigned long user = 0;
        unsigned long system = 0;
        FILE* const file = std::fopen(path.c_str(), "r");
        if (file == nullptr
            || std::fscanf(file, "%*d (%*[^)]) %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu",
                   &user, &system)
                != 2) {
            fail("the peer is gone");
        }
        std::fclose(file);
        return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }

    /// Ends the peer; its peak memory in bytes.
    std::size_t end() {
        const std::size_t peak = m_peer->peakMemory();
        m_session->sendCommand("TERMINATE_CLIENT");
        if (m_peer->waitForEnd() != ProcessEnd{0, 0}) {
            fail("the peer did not end as it should");
        }
        return peak;
    }

private:
    std::string authority() const { return (m_home.path() / "ca.pem").string(); }

    void start(std::unique_ptr<AgentProcess> peer) {
        m_peer = std::move(peer);
        m_session = m_server.waitForAgent("bench", limit);
        if (!m_session) {
            fail("the peer does not connect: " + m_peer->output());
        }
    }

    AgentHome m_home;
    devserver::Server m_server;
    Clock::time_point m_began;
    std::unique_ptr<AgentProcess> m_peer;
    std::shared_ptr<devserver::AgentSession> m_session;
};

std::string envelope(const char* command, json::object payload) {
    return json::serialize(json::object{{"command", command}, {"payload", std::move(payload)}});
}

/// The digest of a listed certificate. The list travels as Base64 of JSON.
std::string digestInList(const std::string& answer, std::size_t index) {
    const std::string text(json::parse(answer).at("payload").as_string());
    constexpr std::string_view alphabet
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string list;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text.substr(0, text.find('='))) {
        bits = (bits << 6) | static_cast<unsigned>(alphabet.find(c));
        count += 6;
        if (count >= 8) {
            count -= 8;
            list += static_cast<char>(bits >> count);
        }
    }
    return std::string(json::parse(list).at(index).at("certificateDigest").as_string());
}

std::string sizeText(std::size_t bytes) {
    return std::to_string(static_cast<int>(static_cast<double>(bytes) / mebi)) + " MiB";
}

std::string signPdf(const std::string& list, const std::string& document) {
    return envelope("SIGN_PDF",
        {{"certificateDigest", digestInList(list, 0)}, {"bytesToSign", "QUJD"},
            {"signatureAlgorithm", "SHA256withRSA"}, {"pdfToSign", document}});
}

void measureStart() {
    std::vector<double> agentTimes, plainTimes;
    for (int run = 0; run < 7; ++run) {
        Session plain(1);
        plain.startPlainPeer();
        plainTimes.push_back(plain.startTime());
        plain.end();
        Session agent(1);
        agent.startAgent();
        agentTimes.push_back(agent.startTime());
        agent.end();
    }
    printRow("from process start to CLIENT_CONNECT", median(agentTimes), "a bare WebSocket client",
        median(plainTimes));
}

void measureSmallDocument() {
    Session session(1);
    session.startAgent();
    std::string list;
    session.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &list);
    const std::string request = signPdf(list, "QUJD");
    std::vector<double> times;
    for (int run = 0; run < 200; ++run) {
        times.push_back(session.roundTrip(request));
    }
    session.end();
    printRow(
        "small SIGN_PDF, the whole round trip", median(times), rsaBaselineName, rsaSignatureTime());
}

struct LargeFigures {
    std::vector<double> times;
    std::vector<double> workingTimes; // of all requests of a session
    std::size_t peak = 0;

    void add(Session& session, const std::string& request) {
        constexpr int requests = 3;
        const double before = session.workingTime();
        for (int i = 0; i < requests; ++i) {
            times.push_back(session.roundTrip(request));
        }
        workingTimes.push_back(session.workingTime() - before);
        peak = std::max(peak, session.end());
    }
};

void measureLargeDocument(std::size_t documentSize) {
    constexpr int runs = 3;
    const std::string document(documentSize / 3 * 4, 'Q'); // its Base64 text
    LargeFigures plain, agent;
    for (int run = 0; run < runs; ++run) {
        Session plainSession(1);
        plainSession.startPlainPeer();
        plain.add(plainSession, envelope("SIGN_PDF", {{"pdfToSign", document}}));

        Session agentSession(1);
        agentSession.startAgent();
        std::string list;
        agentSession.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &list);
        agent.add(agentSession, signPdf(list, document));
    }
    const std::string what = "SIGN_PDF of " + sizeText(documentSize);
    const char* const plainName = "receive, log, decode, encode, send";
    printRow(what + ", round trip", median(agent.times), plainName, median(plain.times));
    printRow(what + ", three, work of the CPU", median(agent.workingTimes), plainName,
        median(plain.workingTimes));
    printRow(what + ", peak memory", sizeText(agent.peak), sizeText(plain.peak), plainName,
        static_cast<double>(agent.peak) / static_cast<double>(plain.peak));
    printRow("the same", sizeText(agent.peak), sizeText(document.size()), "the frame itself",
        static_cast<double>(agent.peak) / static_cast<double>(document.size()));
}

struct IdentityTimes {
    double list;
    double sign;
};

IdentityTimes timesWithIdentities(std::size_t count) {
    Session session(static_cast<int>(count));
    session.startAgent();
    std::string answer;
    session.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &answer); // opens the database
    const std::string request = envelope("SIGN_XML",
        {{"certificateDigest", digestInList(answer, count - 1)}, {"xmlSignedInfo", "<SignedInfo/>"},
            {"signatureAlgorithm", "SHA256withRSA"}});
    std::vector<double> listTimes, signTimes;
    for (int run = 0; run < 5; ++run) {
        listTimes.push_back(session.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}"));
        signTimes.push_back(session.roundTrip(request));
    }
    session.end();
    return {median(listTimes), median(signTimes)};
}

void measureIdentities() {
    const IdentityTimes one = timesWithIdentities(1);
    const IdentityTimes hundred = timesWithIdentities(100);
    const IdentityTimes thousand = timesWithIdentities(1000);
    printRow("listing 100 identities", hundred.list, "listing 1", one.list);
    printRow("listing 1,000 identities", thousand.list, "listing 100", hundred.list);
    printRow("SIGN_XML with 100 identities", hundred.sign, "with 1", one.sign);
    printRow("SIGN_XML with 1,000 identities", thousand.sign, "with 100", hundred.sign);
}

} // namespace

int main() {
    try {
        measureStart();
        measureSmallDocument();
        measureLargeDocument(std::size_t{6} << 20);
        measureLargeDocument(std::size_t{48} << 20);
        measureIdentities();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "session_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
