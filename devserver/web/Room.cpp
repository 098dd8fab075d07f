// SPDX-License-Identifier: MIT
#include "devserver/web/Room.h"

#include "devserver/server/Envelope.h"
#include "devserver/session/Doorkeeper.h"

#include <chrono>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

namespace devserver {

namespace json = boost::json;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds untilItLeaves = 24h; // a wait that the agent's leaving ends
constexpr std::chrono::milliseconds lookAfter = 100ms; // whether an idle agent has left
constexpr std::size_t wholeMessage = std::size_t{16} << 10; // bytes of a message shown unfolded
constexpr std::size_t keptFiles = 5;
constexpr std::chrono::milliseconds graceOfEnd = 3s; // for an agent to leave when it is told to

/// Until the agent has left; one that hangs is cut off.
void seeOut(AgentSession& agent) {
    if (!agent.waitForClose(graceOfEnd)) {
        agent.closeAbruptly();
    }
}

std::string signedName(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? name + "-signed"
                                    : name.substr(0, dot) + "-signed" + name.substr(dot);
}

std::int64_t millisecondsOfNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

} // namespace

Room::Room(std::string id, Note note)
    : m_id(std::move(id))
    , m_note(std::move(note))
    , m_thread([this] { run(); }) {
}

void Room::end() {
    if (!m_thread.joinable()) {
        return;
    }
    std::shared_ptr<AgentSession> agent;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        agent = m_agent;
        m_changed.notify_all();
    }
    if (agent) {
        agent->sendCommand("TERMINATE_CLIENT");
        agent->close();
        seeOut(*agent);
    }
    m_thread.join();
    if (m_ending.joinable()) {
        m_ending.join();
    }
    m_feed->end();
}

bool Room::join(std::shared_ptr<AgentSession> agent) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, graceOfJoin, [&] { return !m_agent || m_isEnding; });
    if (m_agent || m_isEnding) {
        return false;
    }
    m_agent = std::move(agent);
    m_changed.notify_all();
    return true;
}

std::optional<std::string> Room::sign(SigningOrder order) {
    const auto kept = std::make_shared<SigningOrder>(std::move(order)); // which may be large
    return post([this, kept](SessionDriver& driver) { carryOut(driver, std::move(*kept)); });
}

std::optional<std::string> Room::listAgain() {
    return post([this](SessionDriver& driver) { list(driver); });
}

std::optional<std::string> Room::post(std::function<void(SessionDriver&)> work) {
    const std::lock_guard lock(m_mutex);
    if (!m_agent) {
        return "no agent is connected";
    }
    if (!m_isReady) {
        return "the agent is busy";
    }
    m_isReady = false;
    m_work = std::move(work);
    m_changed.notify_all();
    return std::nullopt;
}

std::optional<std::string> Room::endSession() {
    const std::lock_guard lock(m_mutex);
    if (!m_agent) {
        return "no agent is connected";
    }
    const std::string envelope = envelopeText("TERMINATE_CLIENT", std::nullopt, std::nullopt);
    sent(envelope);
    m_agent->sendEnvelope(envelope);
    if (m_endingAgent != m_agent.get()) {
        if (m_ending.joinable()) {
            m_ending.join(); // the agent that it waited for has left
        }
        m_endingAgent = m_agent.get();
        m_ending = std::thread([agent = m_agent] { seeOut(*agent); });
    }
    return std::nullopt;
}

bool Room::closeWhenEmpty() {
    const std::lock_guard lock(m_mutex);
    m_isEnding = m_isEnding || !m_agent;
    m_changed.notify_all();
    return m_isEnding;
}

void Room::tellProblem(const std::string& text) {
    m_note(text);
    m_feed->add("problem", json::object{{"text", text}});
}

std::shared_ptr<const SignedFile> Room::signedFile(std::size_t number) const {
    const std::lock_guard lock(m_mutex);
    const std::size_t age = m_lastFile - number; // wraps for numbers to come
    return number > 0 && age < m_files.size() ? m_files[m_files.size() - 1 - age] : nullptr;
}

void Room::sent(std::string_view envelope) {
    tellMessage("sent", envelope);
}

void Room::received(std::string_view envelope) {
    tellMessage("received", envelope);
}

void Room::tellMessage(const char* direction, std::string_view envelope) {
    const std::string folded = foldedEnvelope(envelope);
    m_note((*direction == 's' ? "to agent    " : "from agent  ") + folded);
    const bool isWhole = envelope.size() <= wholeMessage;
    m_feed->add("message",
        json::object{{"time", millisecondsOfNow()}, {"direction", direction},
            {"size", envelope.size()}, {"isWhole", isWhole},
            {"text", isWhole ? std::string(envelope) : folded}});
}

void Room::run() {
    for (;;) {
        std::shared_ptr<AgentSession> agent;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_agent || m_isEnding; });
            if (m_isEnding) {
                return;
            }
            agent = m_agent;
        }
        serve(agent);
        const std::optional<CloseInfo> end = agent->waitForClose(0ms);
        const std::lock_guard lock(m_mutex);
        m_agent.reset();
        m_endingAgent = nullptr;
        m_changed.notify_all();
        if (m_work) {
            m_work = nullptr;
            tellProblem("The agent left before it was asked to sign.");
        }
        m_isReady = false;
        const bool isProper = end && end->handshake;
        m_note("the agent has left" + (isProper || !end ? "" : ": " + end->reason));
        m_feed->add("agent",
            json::object{{"state", "left"},
                {"reason", isProper ? "the session is over" : "the connection to it was lost"}});
    }
}

/// Works with one agent until it has left.
void Room::serve(const std::shared_ptr<AgentSession>& agent) {
    const std::string version(stomp::versionText(agent->version()));
    m_note("an agent joined room " + m_id + ", STOMP " + version);
    m_feed->add("agent", json::object{{"state", "joined"}, {"stomp", version}});
    SessionDriver driver(agent, untilItLeaves, *this);
    if (!begin(driver)) {
        agent->close();
        agent->waitForClose(10s);
        return;
    }
    while (agent->isOpen()) {
        std::function<void(SessionDriver&)> work;
        {
            std::unique_lock lock(m_mutex);
            m_isReady = m_work == nullptr;
            m_changed.wait_for(lock, lookAfter, [&] { return m_work != nullptr; });
            std::swap(work, m_work);
        }
        if (work) {
            work(driver);
            m_feed->add("progress", json::object{{"text", ""}});
        }
    }
}

bool Room::begin(SessionDriver& driver) {
    StepResult result = driver.greet();
    Diagnostics diagnostics;
    if (result.ok) {
        result = driver.getDiagnostics(diagnostics);
    }
    if (!result.ok) {
        tellProblem(result.text);
        return false;
    }
    m_feed->add(
        "diagnostics", json::object{{"os", diagnostics.os}, {"version", diagnostics.version}});
    return list(driver);
}

bool Room::list(SessionDriver& driver) {
    std::vector<ListedCertificate> certificates;
    const StepResult result = driver.listCertificates(certificates);
    if (!result.ok) {
        tellProblem(result.text);
        return false;
    }
    json::array array;
    for (const ListedCertificate& certificate : certificates) {
        array.push_back(json::object{{"name", certificate.name}, {"issuer", certificate.issuer},
            {"digest", certificate.digest}});
    }
    m_feed->add("certificates", json::object{{"certificates", std::move(array)}});
    return true;
}

void Room::carryOut(SessionDriver& driver, SigningOrder order) {
    m_note("signing " + order.name);
    m_feed->add("progress", json::object{{"text", "Signing " + order.name}});
    if (isRefused(order)) {
        return;
    }
    auto file = std::make_shared<SignedFile>();
    file->name = signedName(order.name);
    file->kind = order.document.kind;
    const StepResult result = signDocument(driver, std::move(order.document), file->bytes);
    if (!result.ok) {
        tellProblem(order.name + " was not signed: " + result.text);
        return;
    }
    m_note(order.name + " is signed: " + result.text);
    json::object told{{"name", file->name}, {"size", file->bytes.size()}};
    const std::lock_guard lock(m_mutex);
    m_files.push_back(std::move(file));
    if (m_files.size() > keptFiles) {
        m_files.pop_front();
    }
    told["number"] = ++m_lastFile;
    m_feed->add("signed", told);
}

/// Tells why a document cannot be signed, if so.
bool Room::isRefused(SigningOrder& order) {
    const std::optional<DocumentRefusal> refusal = refusalOf(order.document);
    if (!refusal) {
        return false;
    }
    tellProblem(order.name + " was not signed: " + refusal->reason);
    if (refusal->canBeRepaired) {
        m_feed->add("damaged", json::object{{"name", order.name}});
    }
    return true;
}

} // namespace devserver
