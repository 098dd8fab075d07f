// SPDX-License-Identifier: MIT
// Whole sessions of the real agent against the signing server on this machine.
#include "bench/PeerSession.h"
#include "bench/Table.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cstdio>

namespace json = boost::json;

namespace {

constexpr double mebi = 1024.0 * 1024.0;

/// A home of its own with so many identities, and a session in it.
struct HomeSession {
    explicit HomeSession(int identities) { home.makeIdentities(identities); }

    void startPlainPeer() {
        session.startOther(QUILLET_PLAIN_PEER,
            {"localhost", session.port(), "/room/bench", session.authority(),
                (home.path() / "plain.log").string()});
    }
    PeerSession* operator->() { return &session; }

    AgentHome home;
    PeerSession session{home};
};

std::string envelope(const char* command, json::object payload) {
    return json::serialize(json::object{{"command", command}, {"payload", std::move(payload)}});
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
    // Any text under "pdfToSign" makes it a command of the plain peer too.
    const std::string greeting = R"({"command":"SERVER_CONNECT","pdfToSign":""})";
    std::vector<double> agentTimes, plainTimes;
    for (int run = 0; run < 7; ++run) {
        HomeSession plain(1);
        plain.startPlainPeer();
        plainTimes.push_back(plain->startTime(greeting));
        plain->end();
        HomeSession agent(1);
        agent->startAgent();
        agentTimes.push_back(agent->startTime(greeting));
        agent->end();
    }
    printRow("from process start to CLIENT_CONNECT", median(agentTimes), "a bare WebSocket client",
        median(plainTimes));
}

void measureSmallDocument() {
    HomeSession home(1);
    PeerSession& session = home.session;
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

    void add(PeerSession& session, const std::string& request) {
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
        HomeSession plainSession(1);
        plainSession.startPlainPeer();
        plain.add(plainSession.session, envelope("SIGN_PDF", {{"pdfToSign", document}}));

        HomeSession agentSession(1);
        agentSession->startAgent();
        std::string list;
        agentSession->roundTrip("{\"command\":\"LIST_CERTIFICATES\"}", &list);
        agent.add(agentSession.session, signPdf(list, document));
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
    HomeSession home(static_cast<int>(count));
    PeerSession& session = home.session;
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
