// SPDX-License-Identifier: MIT
#include "devserver/program/SignCommand.h"

#include "devserver/program/AgentProcess.h"
#include "devserver/program/Files.h"
#include "devserver/program/Introduction.h"
#include "devserver/program/MessageLog.h"
#include "devserver/program/Password.h"
#include "devserver/program/StepTable.h"
#include "devserver/server/Server.h"
#include "devserver/session/Doorkeeper.h"
#include "devserver/session/OneAgent.h"
#include "devserver/session/RoomId.h"
#include "devserver/session/SessionDriver.h"

#include <filesystem>
#include <fstream>

namespace devserver {

namespace {

using namespace std::chrono_literals;

/// One run. Each step is a method; the first that fails ends it.
class SignRun {
public:
    SignRun(const SignOptions& options, std::ostream& out)
        : m_options(options)
        , m_authorityFolder(
              options.authorityFolder.empty() ? dataFolder() : options.authorityFolder)
        , m_room(options.room.empty() ? newRoomId() : options.room)
        , m_out(out)
        , m_table(out)
        , m_log(m_logFile)
        , m_server({.port = options.port, .authorityFolder = m_authorityFolder})
        , m_agent(m_room, out) { }

    StepResult run() {
        if (std::optional<std::string> error = prepare()) {
            return StepResult::failure(std::move(*error));
        }
        const Doorkeeper door(m_server, [this](const auto& agent) { return m_agent.admit(agent); });
        m_table.writeHeader();
        StepResult result = step("agent joins the room", [this] { return awaitAgent(); });
        while (result.ok) {
            result = serve();
            if (result.ok || !hasComeAgain()) {
                return result;
            }
            m_out << "The agent was given the link again; the session begins anew.\n" << std::flush;
            result = {true, ""};
        }
        return result;
    }

private:
    /// A session, as far as it was not done in the one before.
    StepResult serve() {
        StepResult result{true, ""};
        using Step = StepResult (SignRun::*)();
        for (const auto& [name, take] : {std::pair<const char*, Step>("greeting", &SignRun::greet),
                 {"diagnostics", &SignRun::getDiagnostics},
                 {"certificates", &SignRun::chooseCertificate}}) {
            if (result.ok) {
                result = step(name, [this, take = take] { return (this->*take)(); });
            }
        }
        while (result.ok && m_done < m_options.tasks.size()) {
            const std::string name = std::filesystem::path(m_options.tasks[m_done].in).filename();
            result = step("sign " + shownText(name), [this] { return sign(m_done); });
            m_done += result.ok ? 1 : 0;
        }
        if (result.ok) {
            result = step("agent is told to end", [this] { return m_driver->terminate(); });
        }
        if (result.ok && m_options.agent) {
            result = step("agent ends", [this] { return awaitEnd(); });
        }
        return result;
    }

    /// Whether the agent has left and is there anew; one that was started here does not come again.
    bool hasComeAgain() {
        if (!m_session->waitForClose(0ms) || m_options.agent) {
            return false;
        }
        auto next = m_agent.wait(m_session, graceOfJoin);
        if (!next) {
            return false;
        }
        begin(std::move(next));
        return true;
    }

    void begin(std::shared_ptr<AgentSession> session) {
        m_session = std::move(session);
        m_driver.emplace(m_session, m_options.timeout, m_log);
    }

    std::optional<std::string> prepare() {
        std::string error;
        m_pdfOptions = m_options.pdf;
        if (!m_options.passwordFile.empty()) {
            std::optional<std::string> password = readPassword(m_options.passwordFile, error);
            if (!password) {
                return error;
            }
            m_pdfOptions.password = std::move(*password);
        }
        for (const SigningTask& task : m_options.tasks) {
            if (std::optional<std::string> cause = refusalOfOutput(task)) {
                return cause;
            }
            std::optional<DocumentOrder> order = read(task, error);
            if (!order) {
                return error;
            }
            if (const std::optional<DocumentRefusal> refusal = refusalOf(*order)) {
                return task.in + " cannot be signed: " + refusal->reason
                    + (refusal->canBeRepaired
                            ? "\nWith --repair it is written anew first, as far as it can be made "
                              "out; look at the result before you rely on it."
                            : "");
            }
            m_orders.push_back(std::move(order));
        }
        return open();
    }

    std::optional<DocumentOrder> read(const SigningTask& task, std::string& error) const {
        std::optional<std::string> document = readFile(task.in, error);
        if (!document) {
            return std::nullopt;
        }
        return DocumentOrder{task.kind, "", std::move(*document), m_options.sendDocuments,
            m_options.repair, m_pdfOptions, m_options.xml};
    }

    /// Whether a signed file can be written is known before a key is asked to sign.
    std::optional<std::string> refusalOfOutput(const SigningTask& task) const {
        for (const SigningTask& other : m_options.tasks) {
            if (&other != &task && isSameFile(other.out, task.out)) {
                return "two signed files cannot have one name: " + task.out;
            }
        }
        return refusalToWrite(task.out);
    }

    std::optional<std::string> open() {
        if (!m_options.log.empty()) {
            m_logFile.open(m_options.log);
            if (!m_logFile) {
                return m_options.log + " cannot be written";
            }
        }
        if (m_authorityFolder.empty()) {
            return "there is no folder to keep the authority in; name one with --authority";
        }
        if (std::optional<std::string> reason = m_server.start()) {
            return reason;
        }
        m_out << introductionOfRoom(m_server, authorityFile(), m_room) << std::flush;
        return startAgent();
    }

    std::optional<std::string> startAgent() {
        if (!m_options.agent) {
            return std::nullopt;
        }
        std::vector<std::string> arguments = {m_server.link(m_room)};
        arguments.insert(
            arguments.end(), m_options.agentArguments.begin(), m_options.agentArguments.end());
        return m_process.start({*m_options.agent, arguments, authorityFile()});
    }

    /// An agent that ends before it joins is told at once, not when the time is over.
    StepResult awaitAgent() {
        const auto limit = std::chrono::steady_clock::now() + m_options.timeout;
        std::shared_ptr<AgentSession> session;
        bool hasEnded = false;
        while (!session && !hasEnded && std::chrono::steady_clock::now() < limit) {
            session = m_agent.wait(nullptr, 100ms);
            hasEnded = !session && m_options.agent && m_process.waitForEnd(0ms);
        }
        if (!session) {
            return StepResult::failure(hasEnded ? "it never joined" : "no agent joined in time");
        }
        begin(session);
        return {true, "STOMP " + std::string(stomp::versionText(session->version()))};
    }

    StepResult greet() { return m_driver->greet(); }

    StepResult getDiagnostics() {
        Diagnostics diagnostics;
        return m_driver->getDiagnostics(diagnostics);
    }

    StepResult chooseCertificate() {
        std::vector<ListedCertificate> certificates;
        StepResult result = m_driver->listCertificates(certificates);
        if (!result.ok) {
            return result;
        }
        std::string known;
        for (const ListedCertificate& certificate : certificates) {
            if (m_options.certificate == "first" || m_options.certificate == certificate.digest) {
                m_digest = certificate.digest;
                return {true, result.text + ", chosen: " + shownText(certificate.name)};
            }
            known += "\n  " + certificate.digest + "  " + shownText(certificate.name);
        }
        return StepResult::failure(known.empty()
                ? "the agent has no certificate to sign with"
                : "the agent has no certificate " + m_options.certificate + ", but these:" + known);
    }

    StepResult sign(std::size_t index) {
        const SigningTask& task = m_options.tasks[index];
        std::string error;
        std::optional<DocumentOrder> order = std::exchange(m_orders[index], std::nullopt);
        if (!order && !(order = read(task, error))) { // it was on its way when the agent left
            return StepResult::failure(error);
        }
        order->digest = m_digest;
        std::string signedDocument;
        StepResult result = signDocument(*m_driver, std::move(*order), signedDocument);
        if (!result.ok) {
            return result;
        }
        if (std::optional<std::string> cause = writeFile(task.out, signedDocument)) {
            return StepResult::failure(std::move(*cause));
        }
        return {true, task.out + ", " + result.text};
    }

    StepResult awaitEnd() {
        const std::optional<std::string> end = m_process.waitForEnd(m_options.timeout);
        if (!end) {
            return StepResult::failure("it was still running after its time was over");
        }
        return m_process.hasSucceeded() ? StepResult{true, "it " + *end}
                                        : StepResult::failure("its status is not 0");
    }

    StepResult step(const std::string& name, const std::function<StepResult()>& take) {
        StepResult result = m_table.run(name, take);
        if (!result.ok) {
            result.text = "step \"" + name + "\" failed: " + result.text + agentState();
        }
        return result;
    }

    /// What is known of an agent that was started here, for a failure's sentence.
    std::string agentState() {
        if (!m_options.agent || m_process.id() < 0) {
            return "";
        }
        const std::optional<std::string> end = m_process.waitForEnd(500ms);
        return "; the agent " + end.value_or("is still running and will be ended");
    }

    std::string authorityFile() const {
        return std::filesystem::absolute(CertificateAuthority::fileIn(m_authorityFolder)).string();
    }

    const SignOptions& m_options;
    const std::string m_authorityFolder;
    const std::string m_room;
    std::ostream& m_out;
    StepTable m_table;
    std::ofstream m_logFile;
    MessageLog m_log;
    Server m_server;
    OneAgent m_agent;
    AgentProcess m_process;
    PdfOptions m_pdfOptions;
    std::vector<std::optional<DocumentOrder>> m_orders; // absent once it was asked for
    std::size_t m_done = 0; // tasks
    std::shared_ptr<AgentSession> m_session;
    std::optional<SessionDriver> m_driver;
    std::string m_digest;
};

} // namespace

int runSign(const SignOptions& options, std::ostream& out, std::ostream& err) {
    const StepResult result = SignRun(options, out).run();
    if (!result.ok) {
        err << "quillet-devserver: " << result.text << '\n';
        return 1;
    }
    out << "\nSigned:\n";
    for (const SigningTask& task : options.tasks) {
        out << "  " << task.out << '\n';
    }
    return 0;
}

} // namespace devserver
