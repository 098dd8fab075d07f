// SPDX-License-Identifier: MIT
// The steps of a signing session, each one question to the agent and its checked answer.
#pragma once

#include "devserver/server/AgentSession.h"
#include "devserver/session/MessageObserver.h"
#include "devserver/session/StepResult.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devserver {

struct Diagnostics {
    std::string os;
    std::string version;
};

struct ListedCertificate {
    std::string name;
    std::string issuer;
    std::string digest;
};

/// Nothing when the payload is not Base64 of a JSON array of certificates.
std::optional<std::vector<ListedCertificate>> certificatesOf(const AgentMessage& message);

/// A signature and the certificate that it was made with, as bytes.
struct Signature {
    std::string bytes;
    std::string certificate; // DER
};

/// Used by one thread. Each step waits `timeout` at most for its answer.
class SessionDriver {
public:
    SessionDriver(std::shared_ptr<AgentSession> session, std::chrono::milliseconds timeout,
        MessageObserver& observer);

    StepResult greet();
    StepResult getDiagnostics(Diagnostics& diagnostics);
    StepResult listCertificates(std::vector<ListedCertificate>& certificates);
    /// SIGN_PDF with these bytes, SHA256withRSA. The signature is checked, and that a document that
    /// is sent along comes back.
    StepResult signBytes(const std::string& digest, const std::string& bytes, Signature& signature,
        const std::optional<std::string>& document = std::nullopt);
    /// SIGN_XML with this signed-info, SHA256withRSA. The signature is checked.
    StepResult signSignedInfo(
        const std::string& digest, const std::string& signedInfo, Signature& signature);
    /// The certificate of a digest, in DER. The list does not carry it, so the first time the agent
    /// signs a challenge, and the certificate comes with that answer.
    StepResult certificateOf(const std::string& digest, std::string& certificate);
    /// Waits until the agent has left.
    StepResult terminate();

    const std::shared_ptr<AgentSession>& session() const { return m_session; }

private:
    using Answer = std::variant<AgentMessage, StepResult>;

    bool post(const std::string& command, const std::optional<boost::json::value>& payload,
        const std::optional<boost::json::value>& requestId);
    Answer ask(const std::string& command, const std::optional<boost::json::value>& payload,
        const std::optional<boost::json::value>& requestId, const std::string& answerCommand);
    StepResult sign(const std::string& command, const std::string& digest,
        const boost::json::object& payload, const char* echoed, std::string_view data,
        Signature& signature);

    std::shared_ptr<AgentSession> m_session;
    std::chrono::milliseconds m_timeout;
    MessageObserver& m_observer;
    std::map<std::string, std::string> m_certificates; // DER by digest
    int m_lastRequest = 0;
};

} // namespace devserver
