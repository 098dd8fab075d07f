// SPDX-License-Identifier: MIT
#include "devserver/session/SessionDriver.h"

#include "devserver/crypto/Encoding.h"
#include "devserver/documents/CmsSignature.h"
#include "devserver/server/Envelope.h"
#include "devserver/session/Challenge.h"

namespace devserver {

namespace json = boost::json;

namespace {

constexpr const char* algorithm = "SHA256withRSA";

/// A member that is text, or nothing.
std::optional<std::string> textOf(const json::value* object, std::string_view key) {
    const json::object* members = object != nullptr ? object->if_object() : nullptr;
    const json::value* value = members != nullptr ? members->if_contains(key) : nullptr;
    if (value == nullptr || !value->is_string()) {
        return std::nullopt;
    }
    return std::string(value->get_string());
}

std::optional<std::string> bytesOf(const json::value* object, std::string_view key) {
    const std::optional<std::string> text = textOf(object, key);
    return text ? base64Decoded(*text) : std::nullopt;
}

bool hasEqual(const json::value* object, std::string_view key, const json::value& expected) {
    const json::object* members = object != nullptr ? object->if_object() : nullptr;
    const json::value* value = members != nullptr ? members->if_contains(key) : nullptr;
    return value != nullptr && *value == expected;
}

bool isEqual(const json::value* value, const json::value& expected) {
    return value != nullptr && *value == expected;
}

} // namespace

std::optional<std::vector<ListedCertificate>> certificatesOf(const AgentMessage& message) {
    const std::optional<std::string> text = bytesOf(&message.envelope, "payload");
    const std::optional<json::value> array = text ? parsedJson(*text) : std::nullopt;
    if (!array || !array->is_array()) {
        return std::nullopt;
    }
    std::vector<ListedCertificate> certificates;
    for (const json::value& entry : array->get_array()) {
        const std::optional<std::string> name = textOf(&entry, "name");
        const std::optional<std::string> digest = textOf(&entry, "certificateDigest");
        if (!name || !digest) {
            return std::nullopt;
        }
        certificates.push_back({*name, textOf(&entry, "issuerDn").value_or(""), *digest});
    }
    return certificates;
}

SessionDriver::SessionDriver(std::shared_ptr<AgentSession> session,
    std::chrono::milliseconds timeout, MessageObserver& observer)
    : m_session(std::move(session))
    , m_timeout(timeout)
    , m_observer(observer) {
}

StepResult SessionDriver::greet() {
    const Answer answer = ask("SERVER_CONNECT", std::nullopt, std::nullopt, "CLIENT_CONNECT");
    if (const auto* failure = std::get_if<StepResult>(&answer)) {
        return *failure;
    }
    return {true, "answered by CLIENT_CONNECT"};
}

StepResult SessionDriver::getDiagnostics(Diagnostics& diagnostics) {
    const Answer answer = ask("GET_DIAGNOSTICS", std::nullopt, std::nullopt, "DIAGNOSTICS");
    if (const auto* failure = std::get_if<StepResult>(&answer)) {
        return *failure;
    }
    const json::value* payload = std::get<AgentMessage>(answer).find("payload");
    const std::optional<std::string> os = textOf(payload, "os");
    const std::optional<std::string> version = textOf(payload, "version");
    if (!os || !version) {
        return StepResult::failure("DIAGNOSTICS does not tell system and version");
    }
    diagnostics = {*os, *version};
    return {true, *os + " " + *version};
}

StepResult SessionDriver::listCertificates(std::vector<ListedCertificate>& certificates) {
    const Answer answer = ask("LIST_CERTIFICATES", std::nullopt, std::nullopt, "CERTIFICATE_LIST");
    if (const auto* failure = std::get_if<StepResult>(&answer)) {
        return *failure;
    }
    std::optional<std::vector<ListedCertificate>> listed
        = certificatesOf(std::get<AgentMessage>(answer));
    if (!listed) {
        return StepResult::failure("CERTIFICATE_LIST does not carry a list of certificates");
    }
    certificates = std::move(*listed);
    return {true,
        std::to_string(certificates.size())
            + (certificates.size() == 1 ? " certificate" : " certificates")};
}

StepResult SessionDriver::signBytes(const std::string& digest, const std::string& bytes,
    Signature& signature, const std::optional<std::string>& document) {
    return sign("SIGN_PDF", digest, signPdfPayload(digest, bytes, document, algorithm), "pdfToSign",
        bytes, signature);
}

StepResult SessionDriver::signSignedInfo(
    const std::string& digest, const std::string& signedInfo, Signature& signature) {
    return sign("SIGN_XML", digest, signXmlPayload(digest, signedInfo, algorithm), "xmlSignedInfo",
        signedInfo, signature);
}

StepResult SessionDriver::certificateOf(const std::string& digest, std::string& certificate) {
    const auto known = m_certificates.find(digest);
    if (known != m_certificates.end()) {
        certificate = known->second;
        return {true, "known"};
    }
    Signature signature;
    StepResult result = signBytes(
        digest, newChallenge("Quillet signing server: which certificate is " + digest), signature);
    certificate = signature.certificate;
    return result;
}

StepResult SessionDriver::terminate() {
    if (!post("TERMINATE_CLIENT", std::nullopt, std::nullopt)) {
        return StepResult::failure("the connection had ended before");
    }
    if (!m_session->waitForClose(m_timeout)) {
        return StepResult::failure("the agent did not leave in time");
    }
    return {true, "the agent has left"};
}

bool SessionDriver::post(const std::string& command, const std::optional<json::value>& payload,
    const std::optional<json::value>& requestId) {
    std::string envelope = envelopeText(command, payload, requestId);
    m_observer.sent(envelope);
    return m_session->sendEnvelope(std::move(envelope));
}

SessionDriver::Answer SessionDriver::ask(const std::string& command,
    const std::optional<json::value>& payload, const std::optional<json::value>& requestId,
    const std::string& answerCommand) {
    post(command, payload, requestId);
    std::optional<AgentMessage> message = m_session->receive(m_timeout);
    if (!message) {
        const std::optional<CloseInfo> end = m_session->waitForClose(std::chrono::milliseconds(0));
        return StepResult::failure(end
                ? "the agent left before " + answerCommand + " came: " + end->reason
                : "no " + answerCommand + " came in time");
    }
    m_observer.received(message->text);
    if (message->command() != answerCommand) {
        return StepResult::failure("instead of " + answerCommand + " came "
            + (message->command().empty() ? "no envelope" : message->command()));
    }
    if (message->destination != "/app/room/" + m_session->room()) {
        return StepResult::failure("the answer went to " + message->destination);
    }
    return std::move(*message);
}

StepResult SessionDriver::sign(const std::string& command, const std::string& digest,
    const json::object& payload, const char* echoed, std::string_view data, Signature& signature) {
    const json::value requestId(command + "-" + std::to_string(++m_lastRequest));
    const Answer answer = ask(command, payload, requestId, command + "_RESPONSE");
    if (const auto* failure = std::get_if<StepResult>(&answer)) {
        return *failure;
    }
    const AgentMessage& message = std::get<AgentMessage>(answer);
    const json::value* result = message.find("payload");
    if (!isEqual(message.find("requestId"), requestId)
        || !hasEqual(result, "requestId", requestId)) {
        return StepResult::failure("the answer does not carry the requestId of the request");
    }
    const json::value* sent = payload.if_contains(echoed);
    if (!hasEqual(result, echoed, sent != nullptr ? *sent : json::value(nullptr))) {
        return StepResult::failure(
            "the answer does not carry the same " + std::string(echoed) + " as the request");
    }
    std::optional<std::string> bytes = bytesOf(result, "signature");
    if (!bytes || bytes->empty()) {
        return StepResult::failure("the agent could not sign: the answer carries no signature");
    }
    std::optional<std::string> certificate = bytesOf(result, "certificate");
    if (!certificate || base64Encoded(sha1(*certificate)) != digest) {
        return StepResult::failure("the answer does not carry the certificate that was asked for");
    }
    if (!isSignedBy(*certificate, *bytes, data)) {
        return StepResult::failure("the signature is not one of what was sent, by the "
                                   "certificate's key");
    }
    m_certificates[digest] = *certificate;
    signature = {std::move(*bytes), std::move(*certificate)};
    return {true, "signature of " + std::to_string(signature.bytes.size()) + " bytes"};
}

} // namespace devserver
