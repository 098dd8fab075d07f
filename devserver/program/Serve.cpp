// SPDX-License-Identifier: MIT
#include "devserver/program/Serve.h"

#include "devserver/Envelope.h"
#include "devserver/Server.h"
#include "devserver/program/Introduction.h"
#include "devserver/program/MessageLog.h"
#include "devserver/program/ServeCommands.h"
#include "devserver/program/SessionDriver.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <mutex>
#include <thread>

namespace devserver {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds noLimit = 24h; // a wait that the end of the server ends

/// A directory of its own, removed with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::error_code code;
        std::string name = (std::filesystem::temp_directory_path(code) / "quillet-XXXXXX").string();
        if (!code && mkdtemp(name.data()) != nullptr) {
            m_path = name;
        }
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        if (!m_path.empty()) {
            std::filesystem::remove_all(m_path, ignored);
        }
    }
    /// Empty when it could not be made.
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

/// The agents of a server: each greeted as it joins, and listened to by a thread of its own.
class Agents {
public:
    Agents(Server& server, MessageLog& log)
        : m_server(server)
        , m_log(log)
        , m_joining([this] { greetAll(); }) { }
    Agents(const Agents&) = delete;
    Agents& operator=(const Agents&) = delete;
    ~Agents() {
        m_isEnding = true;
        m_server.stop();
        m_joining.join();
        for (std::thread& listener : m_listeners) {
            listener.join();
        }
    }

    /// To the agent that joined last, among those that are still there. False without one.
    bool post(const std::string& envelope) {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_agents, [](const Agent& agent) { return !agent.session->isOpen(); });
        return !m_agents.empty() && post(m_agents.back(), envelope);
    }

private:
    struct Agent {
        std::string name;
        std::shared_ptr<AgentSession> session;
    };

    bool post(const Agent& agent, const std::string& envelope) {
        m_log.sent(agent.name, envelope);
        return agent.session->sendEnvelope(envelope);
    }

    void greetAll() {
        for (int number = 1; !m_isEnding; ++number) {
            std::shared_ptr<AgentSession> session = m_server.waitForAnyAgent(noLimit);
            if (!session) {
                continue;
            }
            const Agent agent{"agent " + std::to_string(number), std::move(session)};
            m_log.note(agent.name + " joined room " + agent.session->room() + ", STOMP "
                + std::string(stomp::versionText(agent.session->version())));
            const std::lock_guard lock(m_mutex);
            m_agents.push_back(agent);
            m_listeners.emplace_back([this, agent] { listen(agent); });
            post(agent, envelopeText("SERVER_CONNECT", std::nullopt, std::nullopt));
        }
    }

    void listen(const Agent& agent) {
        while (const std::optional<AgentMessage> message = agent.session->receive(noLimit)) {
            m_log.received(agent.name, message->text);
            if (message->command() == "CERTIFICATE_LIST") {
                showCertificates(*message);
            }
        }
        const std::optional<CloseInfo> end = agent.session->waitForClose(0ms);
        m_log.note(agent.name + " has left" + (end ? ": " + end->reason : ""));
    }

    void showCertificates(const AgentMessage& message) {
        if (const std::optional<CertificateList> list = certificateListOf(message)) {
            for (const ListedCertificate& certificate : list->certificates) {
                m_log.note("certificate " + certificate.digest + "  " + certificate.name);
            }
        }
    }

    Server& m_server;
    MessageLog& m_log;
    std::atomic<bool> m_isEnding = false;
    std::mutex m_mutex;
    std::list<Agent> m_agents;
    std::list<std::thread> m_listeners;
    std::thread m_joining; // the last member: it uses all others
};

} // namespace

int runServe(const ServeOptions& options, LineReader& input, std::ostream& out, std::ostream& err) {
    const TemporaryDirectory directory;
    const std::string authority = directory.path() + "/ca.pem";
    Server server({.port = options.port});
    std::optional<std::string> error = server.start();
    if (!error && (directory.path().empty() || !server.writeAuthority(authority))) {
        error = "the authority's certificate cannot be written to a temporary directory";
    }
    if (error) {
        err << "quillet-devserver: " << *error << '\n';
        return 1;
    }
    out << introductionOf(server, authority, options.room) << "Type help for the commands.\n"
        << std::flush;

    MessageLog log(out);
    Agents agents(server, log);
    int lastRequest = 0;
    while (const std::optional<std::string> line = input.next()) {
        const ServeCommand command
            = parseServeCommand(*line, "request-" + std::to_string(++lastRequest));
        if (std::holds_alternative<QuitCommand>(command)) {
            break;
        }
        if (const auto* reply = std::get_if<Reply>(&command)) {
            log.reply(reply->text);
        } else if (!agents.post(std::get<PostCommand>(command).envelope)) {
            log.reply("no agent is in a room");
        }
    }
    return 0;
}

} // namespace devserver
