// SPDX-License-Identifier: MIT
#include "devserver/program/DemoSession.h"

#include "devserver/Encoding.h"
#include "devserver/Server.h"
#include "devserver/program/AgentProcess.h"
#include "devserver/program/Files.h"
#include "devserver/program/Introduction.h"
#include "devserver/program/SessionDriver.h"
#include "devserver/program/StepTable.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace devserver {

namespace {

using namespace std::chrono_literals;

/// One run. Each step is a method; the first that fails ends it.
class Demo {
public:
    Demo(const DemoOptions& options, std::ostream& out)
        : m_options(options)
        , m_out(out)
        , m_table(out)
        , m_server({.port = options.port})
        , m_log(m_logFile) { }

    StepResult run() {
        std::string error;
        if (!prepare(error)) {
            return StepResult::failure(error);
        }
        m_table.writeHeader();
        StepResult result = step("agent joins the room", &Demo::awaitAgent);
        const struct {
            const char* name;
            StepResult (Demo::*take)();
        } steps[] = {{"SERVER_CONNECT", &Demo::greet}, {"GET_DIAGNOSTICS", &Demo::getDiagnostics},
            {"LIST_CERTIFICATES", &Demo::listCertificates}, {"SIGN_PDF", &Demo::signPdf},
            {"SIGN_XML", &Demo::signXml}, {"TERMINATE_CLIENT", &Demo::terminate},
            {"agent ends", &Demo::awaitEnd}};
        for (const auto& [name, take] : steps) {
            if (result.ok && (take != &Demo::awaitEnd || m_options.agent)) {
                result = step(name, take);
            }
        }
        return result;
    }

private:
    bool prepare(std::string& error) {
        std::optional<std::string> pdf = readFile(m_options.pdf, error);
        std::optional<std::string> xml = pdf ? readFile(m_options.xml, error) : std::nullopt;
        if (!xml) {
            return false;
        }
        m_pdf = std::move(*pdf);
        m_xml = std::move(*xml);
        std::error_code code;
        std::filesystem::create_directories(m_options.out, code);
        m_logFile.open(path("messages.log"));
        if (code || !m_logFile) {
            error = "the results cannot be written to " + m_options.out;
            return false;
        }
        if (const std::optional<std::string> reason = m_server.start()) {
            error = *reason;
            return false;
        }
        if (!m_server.writeAuthority(path("ca.pem"))) {
            error = path("ca.pem") + " cannot be written";
            return false;
        }
        m_out << introductionOf(m_server, path("ca.pem"), m_options.room) << std::flush;
        return startAgent(error);
    }

    bool startAgent(std::string& error) {
        if (!m_options.agent) {
            return true;
        }
        std::vector<std::string> arguments = {m_server.link(m_options.room)};
        arguments.insert(
            arguments.end(), m_options.agentArguments.begin(), m_options.agentArguments.end());
        const std::optional<std::string> reason = m_process.start(
            {*m_options.agent, arguments, std::filesystem::absolute(path("ca.pem")).string(),
                path("agent-output.txt"), path("agent-errors.txt")});
        error = reason.value_or("");
        return !reason;
    }

    /// An agent that ends before it joins is told at once, not when the time is over.
    StepResult awaitAgent() {
        const auto limit = std::chrono::steady_clock::now() + m_options.timeout;
        std::shared_ptr<AgentSession> session;
        std::optional<std::string> end;
        while (!session && !end && std::chrono::steady_clock::now() < limit) {
            session = m_server.waitForAgent(m_options.room, 100ms);
            if (!session && m_options.agent) {
                end = m_process.waitForEnd(0ms);
            }
        }
        if (!session) {
            return StepResult::failure(end ? "it never joined" : "no agent joined in time");
        }
        m_driver.emplace(session, m_options.timeout, m_log);
        return {true, "STOMP " + std::string(stomp::versionText(session->version()))};
    }

    StepResult greet() { return m_driver->greet(); }
    StepResult getDiagnostics() { return m_driver->getDiagnostics(); }

    StepResult listCertificates() {
        StepResult result = m_driver->listCertificates(m_list);
        return result.ok ? written("certificates.json", m_list.json, result) : result;
    }

    StepResult signPdf() {
        Signature signature;
        StepResult result = m_driver->signPdf(digest(), m_pdf, signature);
        const std::optional<std::string> pem = certificatePemOfDer(signature.certificate);
        if (result.ok && !pem) {
            return StepResult::failure("the certificate that came back is not one");
        }
        result = result.ok ? written("certificate.pem", *pem, result) : result;
        return result.ok ? written("pdf.signature.bin", signature.bytes, result) : result;
    }

    StepResult signXml() {
        Signature signature;
        StepResult result = m_driver->signXml(digest(), m_xml, signature);
        return result.ok ? written("xml.signature.bin", signature.bytes, result) : result;
    }

    StepResult terminate() { return m_driver->terminate(); }

    StepResult awaitEnd() {
        const std::optional<std::string> end = m_process.waitForEnd(m_options.timeout);
        if (!end) {
            return StepResult::failure("it was still running after its time was over");
        }
        return m_process.hasSucceeded() ? StepResult{true, "it " + *end}
                                        : StepResult::failure("its status is not 0");
    }

    const std::string& digest() const { return m_list.certificates.front().digest; }

    std::string path(const std::string& name) const { return m_options.out + "/" + name; }

    StepResult written(const std::string& name, std::string_view bytes, StepResult result) const {
        return writeFile(path(name), bytes)
            ? result
            : StepResult::failure(path(name) + " cannot be written");
    }

    StepResult step(const std::string& name, StepResult (Demo::*take)()) {
        StepResult result = m_table.run(name, [&] { return (this->*take)(); });
        if (!result.ok) {
            result.text = "step \"" + name + "\" failed: " + result.text + agentState();
        }
        return result;
    }

    /// What is known of an agent that was started here, for a failure's sentence.
    std::string agentState() {
        if (!m_options.agent) {
            return "";
        }
        const std::optional<std::string> end = m_process.waitForEnd(500ms);
        return "; the agent " + end.value_or("is still running and will be ended")
            + ", and what it wrote is in " + path("agent-output.txt") + " and "
            + path("agent-errors.txt");
    }

    const DemoOptions& m_options;
    std::ostream& m_out;
    StepTable m_table;
    std::ofstream m_logFile;
    Server m_server;
    MessageLog m_log;
    AgentProcess m_process;
    std::string m_pdf;
    std::string m_xml;
    std::optional<SessionDriver> m_driver;
    CertificateList m_list;
};

} // namespace

int runSignDemo(const DemoOptions& options, std::ostream& out, std::ostream& err) {
    Demo demo(options, out);
    const StepResult result = demo.run();
    if (!result.ok) {
        err << "quillet-devserver: " << result.text << '\n';
        return 1;
    }
    out << "\nresults    " << options.out << '\n';
    return 0;
}

} // namespace devserver
