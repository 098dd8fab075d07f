// SPDX-License-Identifier: MIT
// Measures whole sessions of the real agent against the signing server on this machine, as ratios
// to a baseline of the same run.
#include "devserver/Server.h"
#include "tests/e2e/AgentProcess.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cstdio>
#include <stdexcept>

namespace json = boost::json;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds limit{120};
constexpr double mebi = 1024.0 * 1024.0;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

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
        start(std::make_unique<AgentProcess>(m_home, std::vector{m_server.link("bench")},
            std::map<std::string, std::string>{{"SSL_CERT_FILE", authority()}}));
    }
    void startPlainPeer() {
        start(std::make_unique<AgentProcess>(m_home,
            std::vector<std::string>{
                "localhost", std::to_string(m_server.port()), "/room/bench", authority()},
            std::map<std::string, std::string>{}, QUILLET_PLAIN_PEER));
    }

    /// Milliseconds from a command to its answer, which goes to `answer`.
    double roundTrip(const std::string& envelope, std::string* answer = nullptr) {
        const auto began = Clock::now();
        m_session->sendEnvelope(envelope);
        auto frame = m_session->receiveFrame(limit);
        const double time = millisecondsSince(began);
        if (!frame) {
            fail("no answer");
        }
        if (answer != nullptr) {
            *answer = std::move(frame->body);
        }
        return time;
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

void measureLargeDocument() {
    constexpr std::size_t documentSize = std::size_t{48} << 20;
    constexpr int runs = 3;
    const std::string document(documentSize / 3 * 4, 'Q'); // Base64 of 48 MiB
    const double frame = static_cast<double>(document.size());

    std::vector<double> plainTimes, agentTimes;
    std::size_t plainPeak = 0, agentPeak = 0, idlePeak = 0;
    for (int run = 0; run < runs; ++run) {
        Session plain(1);
        plain.startPlainPeer();
        plainTimes.push_back(plain.roundTrip(envelope("SIGN_PDF", {{"pdfToSign", document}})));
        plainPeak = std::max(plainPeak, plain.end());

        Session agent(1);
        agent.startAgent();
        std::string list;
        agent.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &list);
        agentTimes.push_back(agent.roundTrip(envelope("SIGN_PDF",
            {{"certificateDigest", digestInList(list, 0)}, {"bytesToSign", "QUJD"},
                {"signatureAlgorithm", "SHA256withRSA"}, {"pdfToSign", document}})));
        agentPeak = std::max(agentPeak, agent.end());

        Session idle(1);
        idle.startAgent();
        idle.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}");
        idlePeak = std::max(idlePeak, idle.end());
    }
    const double plainTime = median(plainTimes);
    const double agentTime = median(agentTimes);
    std::printf("SIGN_PDF with a document of 48 MiB (a frame F of %.0f MiB), median of %d\n",
        frame / mebi, runs);
    std::printf("  %-32s %10s %8s %12s %8s\n", "", "time", "ratio", "peak memory", "of F");
    const auto row = [&](const char* name, double time, std::size_t peak) {
        std::printf("  %-32s %7.0f ms %8.2f %8.0f MiB %8.2f\n", name, time, time / plainTime,
            static_cast<double>(peak) / mebi, static_cast<double>(peak) / frame);
    };
    row("receive, decode, encode, send", plainTime, plainPeak);
    row("agent", agentTime, agentPeak);
    std::printf("  (an agent that only lists one certificate peaks at %.0f MiB)\n\n",
        static_cast<double>(idlePeak) / mebi);
}

void measureIdentities() {
    std::printf("Identities in the keychain, median of 5\n");
    std::printf(
        "  %6s %12s %8s %14s %12s %8s\n", "", "list", "ratio", "per identity", "sign", "ratio");
    double listBefore = 0;
    double signBefore = 0;
    for (const int count : {1, 100, 1000}) {
        Session session(count);
        session.startAgent();
        std::string answer;
        session.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &answer); // opens the database
        const std::string request = envelope("SIGN_XML",
            {{"certificateDigest", digestInList(answer, static_cast<std::size_t>(count) - 1)},
                {"xmlSignedInfo", "<SignedInfo/>"}, {"signatureAlgorithm", "SHA256withRSA"}});
        std::vector<double> listTimes, signTimes;
        for (int run = 0; run < 5; ++run) {
            listTimes.push_back(session.roundTrip("{\"command\":\"LIST_CERTIFICATES\"}"));
            signTimes.push_back(session.roundTrip(request));
        }
        session.end();
        const double list = median(listTimes);
        const double sign = median(signTimes);
        std::printf("  %6d %9.2f ms %8.1f %11.3f ms %9.2f ms %8.1f\n", count, list,
            listBefore > 0 ? list / listBefore : 1.0, list / count, sign,
            signBefore > 0 ? sign / signBefore : 1.0);
        listBefore = list;
        signBefore = sign;
    }
}

} // namespace

int main() {
    try {
        measureLargeDocument();
        measureIdentities();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "session_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
