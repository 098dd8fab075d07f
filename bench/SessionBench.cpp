// SPDX-License-Identifier: MIT
// Whole sessions of the real agent against the signing server on this machine.
#include "bench/PeerSession.h"
#include "bench/Table.h"

#include <boost/json.hpp>
#include <cstdio>

namespace json = boost::json;

namespace {

/// A home of its own with so many identities, and a session in it.
struct HomeSession {
    explicit HomeSession(int identities) { home.makeIdentities(identities); }

    AgentHome home;
    PeerSession session{home};
};

std::string envelope(const char* command, json::object payload) {
    return json::serialize(json::object{{"command", command}, {"payload", std::move(payload)}});
}

std::string signPdf(const std::string& list, const std::string& document) {
    return envelope("SIGN_PDF",
        {{"certificateDigest", digestInList(list, 0)}, {"bytesToSign", "QUJD"},
            {"signatureAlgorithm", "SHA256withRSA"}, {"pdfToSign", document}});
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
        measureSmallDocument();
        measureIdentities();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "session_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
