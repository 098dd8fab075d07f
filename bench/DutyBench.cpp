// SPDX-License-Identifier: MIT
// duty_bench [REPETITIONS]: the agent beside duty_peer, the least work with all duties of an agent.
// Both serve the same identities in turn; each row is the median of the repetitions, its ratio the
// median of theirs, which bears a machine that becomes slower or quicker. Every answer is verified,
// outside the measured time.
#include "bench/PeerSession.h"
#include "bench/Table.h"
#include "devserver/crypto/Encoding.h"
#include "foundation/Handle.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <openssl/x509.h>

namespace json = boost::json;

namespace {

constexpr std::size_t mebi = std::size_t{1} << 20;
constexpr const char* listRequest = R"({"command":"LIST_CERTIFICATES"})";

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::string sample(std::size_t size, unsigned value) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    return bytes;
}

/// A SIGN_PDF and what its answer must hold.
class Request {
public:
    /// `document` is Base64. Requests of other numbers sign other bytes.
    Request(std::string digest, const std::string& document, unsigned number)
        : m_bytes(sample(1024, number))
        , m_digest(std::move(digest))
        , m_document(document)
        , m_id("request-" + std::to_string(number))
        , m_envelope(R"({"command":"SIGN_PDF","payload":{"certificateDigest":")" + m_digest
              + R"(","bytesToSign":")" + devserver::base64Encoded(m_bytes)
              + R"(","signatureAlgorithm":"SHA256withRSA","pdfToSign":")" + document
              + R"("},"requestId":")" + m_id + "\"}") { }

    const std::string& envelope() const { return m_envelope; }

    void verify(const std::string& text) const {
        const json::value answer = json::parse(text);
        const json::value& payload = answer.at("payload");
        require(textOf(answer, "command") == "SIGN_PDF_RESPONSE"
                && textOf(answer, "requestId") == m_id && textOf(payload, "requestId") == m_id
                && textOf(payload, "pdfToSign") == m_document,
            "a wrong answer");
        const auto der = devserver::base64Decoded(textOf(payload, "certificate"));
        const auto signature = devserver::base64Decoded(textOf(payload, "signature"));
        require(der && signature && devserver::base64Encoded(devserver::sha1(*der)) == m_digest
                && isSignature(*signature, *der),
            "a wrong signature");
    }

private:
    static std::string_view textOf(const json::value& object, std::string_view key) {
        const json::string& text = object.at(key).as_string();
        return {text.data(), text.size()};
    }

    static const unsigned char* unsignedBytes(const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    }

    bool isSignature(const std::string& signature, const std::string& der) const {
        const unsigned char* in = unsignedBytes(der);
        const Handle<X509, X509_free> certificate(
            d2i_X509(nullptr, &in, static_cast<long>(der.size())));
        const Handle<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
        return certificate
            && EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr,
                   X509_get0_pubkey(certificate.get()))
            == 1
            && EVP_DigestVerify(context.get(), unsignedBytes(signature), signature.size(),
                   unsignedBytes(m_bytes), m_bytes.size())
            == 1;
    }

    std::string m_bytes, m_digest;
    const std::string& m_document;
    std::string m_id, m_envelope;
};

/// What a repetition found of one program, by the name of the row: seconds, or bytes.
using Figures = std::map<std::string, double>;

/// One of the two programs.
class Program {
public:
    Program(const AgentHome& home, bool isAgent)
        : m_home(home)
        , m_isAgent(isAgent) { }

    void start(PeerSession& session) const {
        if (m_isAgent) {
            session.startAgent();
        } else {
            session.startOther(
                QUILLET_DUTY_PEER, {session.port(), "bench", session.authority(), log().string()});
        }
    }

    /// The log is one that goes before it is written to the disk, whoever's it is.
    void startWithLog(PeerSession& session) const {
        writeFile(log(), "");
        if (m_isAgent) {
            session.startAgentWithLog(log().string());
        } else {
            start(session);
        }
    }

    /// So that its shortness is not what makes a program quick.
    void endLog(std::size_t size) const {
        require(std::filesystem::file_size(log()) >= size, "the log is not complete");
        std::filesystem::remove(log());
    }

    double size() const {
        const std::filesystem::path stripped = m_home.path() / "stripped";
        const std::string command = std::string("strip -o ") + stripped.string() + " "
            + (m_isAgent ? QUILLET_AGENT : QUILLET_DUTY_PEER);
        require(std::system(command.c_str()) == 0, "strip fails");
        return static_cast<double>(std::filesystem::file_size(stripped));
    }

private:
    std::filesystem::path log() const { return m_home.path() / "duty.log"; }

    const AgentHome& m_home;
    bool m_isAgent;
};

void measureStart(const AgentHome& home, const Program& program, Figures& figures) {
    std::vector<double> times;
    for (int run = 0; run < 5; ++run) {
        PeerSession session(home);
        program.start(session);
        times.push_back(session.startTime(R"({"command":"SERVER_CONNECT"})"));
        session.end();
    }
    figures["from process start to CLIENT_CONNECT"] = median(times);
}

void measureSmall(const AgentHome& home, const Program& program, Figures& figures) {
    constexpr unsigned count = 200, window = 16;
    PeerSession session(home);
    program.start(session);
    std::string list;
    session.roundTrip(listRequest, &list); // opens the database
    std::vector<double> times;
    for (unsigned run = 0; run < count; ++run) {
        std::string again;
        times.push_back(session.roundTrip(listRequest, &again));
        require(again == list && certificatesIn(list).size() == 3, "a wrong list");
    }
    figures["list of 3"] = median(times);

    const std::string document = devserver::base64Encoded(sample(1024, 1));
    std::vector<Request> requests;
    for (unsigned number = 0; number < count; ++number) {
        requests.emplace_back(digestInList(list, number % 3), document, number);
    }
    times.clear();
    for (const Request& request : requests) {
        std::string answer;
        times.push_back(session.roundTrip(request.envelope(), &answer));
        request.verify(answer);
    }
    figures["SIGN_PDF of 1 KiB"] = median(times);

    std::vector<std::string> answers;
    const auto began = Clock::now();
    for (unsigned sent = 0; answers.size() < count;) {
        for (; sent < count && sent < answers.size() + window; ++sent) {
            session.send(requests[sent].envelope());
        }
        answers.push_back(session.receive());
    }
    figures["the same with 16 outstanding, each"] = secondsSince(began) / count;
    for (unsigned number = 0; number < count; ++number) {
        requests[number].verify(answers[number]);
    }
    session.end();
}

/// On a virtual machine memory that was not used before is slow, which the log's pages would be
/// for whoever comes first.
void warmMemory(const AgentHome& home, std::size_t size) {
    const std::filesystem::path scratch = home.path() / "scratch";
    std::ofstream file(scratch, std::ios::binary);
    const std::string block(16 * mebi, '\0');
    for (std::size_t done = 0; done < size; done += block.size()) {
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    file.close();
    std::filesystem::remove(scratch);
}

void measureLarge(const AgentHome& home, const Program& program, std::size_t size, unsigned count,
    Figures& figures) {
    warmMemory(home, size * 4 * count);
    const std::string document = devserver::base64Encoded(sample(size / 4 * 3, 2));
    PeerSession session(home);
    program.startWithLog(session);
    std::string list;
    session.roundTrip(listRequest, &list);
    std::vector<double> times;
    double work = 0;
    for (unsigned number = 0; number < count; ++number) {
        const Request request(digestInList(list, number % 3), document, number);
        std::string answer;
        const double before = session.workingTime();
        times.push_back(session.roundTrip(request.envelope(), &answer));
        work += session.workingTime() - before;
        request.verify(answer);
    }
    const std::string what = "SIGN_PDF of " + std::to_string(size / mebi) + " MiB";
    figures[what] = median(times);
    figures[what + ", " + std::to_string(count) + ", work of the CPU"] = work;
    figures[what + ", peak memory"] = static_cast<double>(session.end());
    program.endLog(3 * size * count);
}

/// Both programs list the same.
void requireEqualLists(const AgentHome& home, const Program& agent, const Program& peer) {
    std::string lists[2];
    for (int i = 0; i < 2; ++i) {
        PeerSession session(home);
        (i == 0 ? agent : peer).start(session);
        session.roundTrip(listRequest, &lists[i]);
        session.end();
    }
    const auto ordered = [](const std::string& answer) {
        json::array list = certificatesIn(answer);
        std::sort(list.begin(), list.end(), [](const json::value& a, const json::value& b) {
            return a.at("name").as_string() < b.at("name").as_string();
        });
        return list;
    };
    require(ordered(lists[0]) == ordered(lists[1]), "the programs list differently");
}

std::string memoryText(double bytes) {
    const double kibi = bytes / 1024;
    char text[32];
    std::snprintf(text, sizeof text, kibi < 10240 ? "%.0f KiB" : "%.0f MiB",
        kibi < 10240 ? kibi : kibi / 1024);
    return text;
}

void print(const std::vector<Figures>& agent, const std::vector<Figures>& peer) {
    for (const char* const row : {"from process start to CLIENT_CONNECT", "SIGN_PDF of 1 KiB",
             "the same with 16 outstanding, each", "SIGN_PDF of 8 MiB", "SIGN_PDF of 64 MiB",
             "SIGN_PDF of 64 MiB, 3, work of the CPU", "SIGN_PDF of 64 MiB, peak memory",
             "list of 3", "program without debug information"}) {
        std::vector<double> mine, others, ratios;
        for (std::size_t i = 0; i < agent.size(); ++i) {
            mine.push_back(agent[i].at(row));
            others.push_back(peer[i].at(row));
            ratios.push_back(mine.back() / others.back());
        }
        const bool isMemory = median(mine) > 1000; // no time is so long
        const auto text
            = [&](double value) { return isMemory ? memoryText(value) : timeText(value); };
        printRow(row, text(median(mine)), text(median(others)), "the least with all duties",
            median(ratios));
    }
}

void run(int repetitions) {
    const AgentHome home;
    home.makeIdentities(3);
    const Program programs[] = {{home, true}, {home, false}};
    requireEqualLists(home, programs[0], programs[1]);
    for (const Program& program : programs) { // the first to come finds all caches empty
        Figures uncounted;
        measureLarge(home, program, 64 * mebi, 3, uncounted);
    }
    std::vector<Figures> figures[2];
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        Figures found[2];
        for (int turn = 0; turn < 2; ++turn) {
            const int i = (turn + repetition) % 2;
            measureStart(home, programs[i], found[i]);
            measureSmall(home, programs[i], found[i]);
            measureLarge(home, programs[i], 8 * mebi, 5, found[i]);
            measureLarge(home, programs[i], 64 * mebi, 3, found[i]);
            found[i]["program without debug information"] = programs[i].size();
        }
        figures[0].push_back(found[0]);
        figures[1].push_back(found[1]);
    }
    print(figures[0], figures[1]);
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(argc > 1 ? std::max(std::atoi(argv[1]), 1) : 5);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "duty_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
