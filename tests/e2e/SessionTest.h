// SPDX-License-Identifier: MIT
// A signing server and the surroundings of an agent, for one end-to-end test.
#pragma once

#include "devserver/server/Server.h"
#include "tests/e2e/AgentProcess.h"

#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <memory>

namespace json = boost::json;

class SessionTest : public testing::Test {
protected:
    static constexpr std::chrono::seconds limit = AgentProcess::limit;

    explicit SessionTest(devserver::ServerOptions options = {})
        : server(std::move(options)) { }
    void SetUp() override;

    /// Starts the agent with the server's link, or any other arguments.
    AgentProcess& startAgent();
    AgentProcess& startAgent(const std::vector<std::string>& arguments);
    /// The same, up to the server's greeting having been answered.
    void startSession();
    /// The agent's session once it has subscribed; null on failure.
    std::shared_ptr<devserver::AgentSession> waitForSession();
    void greet();

    /// The next answer, which must be of that command.
    json::value receive(const std::string& command);
    /// The certificates that the agent lists.
    json::array listCertificates();
    /// The payload of a signing request for the first certificate, with SHA256withRSA.
    json::object signingRequest();
    json::object pdfRequest(const std::string& bytes);
    json::object xmlRequest(const std::string& signedInfo);

    /// Ends the input, so that an alert is dismissed, and expects the process to end like this.
    void expectEnd(ProcessEnd end);
    /// Expects this alert on standard output, its log lines, and status 1.
    void expectFatalAlert(const std::string& message, const std::string& details);
    /// Expects the process to abort with this line in the log.
    void expectFatalError(const std::string& logged);
    bool logHas(const std::string& line) const;

    std::map<std::string, std::string> environment; ///< of the agent, beside its home's
    AgentHome home;
    devserver::Server server;
    std::unique_ptr<AgentProcess> agent;
    std::shared_ptr<devserver::AgentSession> session;
};

std::string base64Of(std::string_view bytes);
std::string bytesOfBase64(std::string_view text);

/// Whether OpenSSL accepts a Base64 signature of `data` by the key of a Base64 DER certificate.
/// `digestName` is "SHA256" or "SHA1".
bool signatureIsValid(const std::string& certificate, const std::string& signature,
    std::string_view data, const char* digestName);

std::string digestOf(std::string_view data, const char* digestName);
