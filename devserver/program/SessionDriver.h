// SPDX-License-Identifier: MIT
// The steps of a signing session, each one question to the agent and its checked answer.
#pragma once

#include "devserver/AgentSession.h"
#include "devserver/program/MessageLog.h"
#include "devserver/program/StepTable.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devserver {

struct ListedCertificate {
    std::string name;
    std::string digest;
};

/// What CERTIFICATE_LIST carries.
struct CertificateList {
    std::string json; // the array as it was written by the agent
    std::vector<ListedCertificate> certificates;
};

/// Nothing when the payload is not Base64 of a JSON array of certificates.
std::optional<CertificateList> certificateListOf(const AgentMessage& message);

/// A signature and the certificate that it was made with, as bytes.
struct Signature {
    std::string bytes;
    std::string certificate; // DER
};

class SessionDriver {
public:
    SessionDriver(
        std::shared_ptr<AgentSession> session, std::chrono::milliseconds timeout, MessageLog& log);

    StepResult greet();
    StepResult getDiagnostics();
    StepResult listCertificates(CertificateList& list);
    /// The document is sent both as the bytes to sign and to be echoed.
    StepResult signPdf(const std::string& digest, const std::string& pdf, Signature& signature);
    StepResult signXml(
        const std::string& digest, const std::string& signedInfo, Signature& signature);
    /// Waits until the agent has left.
    StepResult terminate();

private:
    using Answer = std::variant<AgentMessage, StepResult>;

    bool post(const std::string& command, const std::optional<boost::json::value>& payload,
        const std::optional<boost::json::value>& requestId);
    Answer ask(const std::string& command, const std::optional<boost::json::value>& payload,
        const std::optional<boost::json::value>& requestId, const std::string& answerCommand);
    StepResult sign(const std::string& command, const std::string& digest,
        const boost::json::object& payload, const std::string& echoed, Signature& signature);

    std::shared_ptr<AgentSession> m_session;
    std::chrono::milliseconds m_timeout;
    MessageLog& m_log;
    int m_lastRequest = 0;
};

} // namespace devserver
