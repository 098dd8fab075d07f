// SPDX-License-Identifier: MIT
#include "tests/devserver/TestAgent.h"

#include "devserver/crypto/Encoding.h"
#include "devserver/server/Envelope.h"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

namespace devserver::test {

namespace json = boost::json;

TestAgent::TestAgent()
    : m_digest(base64Encoded(sha1(m_signer.certificateDer()))) {
}

TestAgent::~TestAgent() {
    finish();
}

void TestAgent::start(
    std::uint16_t port, const std::string& authorityPem, const std::string& room, Manner manner) {
    finish();
    m_error.clear();
    m_thread = std::thread([=, this] { run(port, authorityPem, room, manner); });
}

std::string TestAgent::finish() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
    return m_error;
}

void TestAgent::run(std::uint16_t port, const std::string& authorityPem, const std::string& room,
    const Manner& manner) {
    TestClient client;
    if (!client.join(port, authorityPem, room)) {
        m_error = "cannot join: " + client.error;
        return;
    }
    bool isHanging = false;
    // The server may think for long; it ends the connection at its own end.
    while (const std::optional<stomp::Frame> frame = client.receive(10 * patience)) {
        if (frame->command == "ERROR") {
            const std::string* message = frame->headers.find("message");
            m_error = (message != nullptr ? *message : "") + ": " + frame->body;
            continue;
        }
        const json::object request = parsedJson(frame->body).value_or(nullptr).as_object();
        const json::string& command = request.at("command").as_string();
        if (command == manner.leavesAt) {
            client.drop();
            return;
        }
        isHanging = isHanging || command == manner.hangsAt;
        if (isHanging) {
            continue;
        }
        if (command == "TERMINATE_CLIENT") {
            client.close();
            return;
        }
        client.sendEnvelope(room, answerTo(request, manner));
    }
}

std::string TestAgent::answerTo(const json::object& request, const Manner& manner) const {
    const std::string command(request.at("command").as_string());
    if (command == "SERVER_CONNECT") {
        return envelopeText("CLIENT_CONNECT", nullptr, nullptr);
    }
    if (command == "GET_DIAGNOSTICS") {
        return envelopeText(
            "DIAGNOSTICS", json::object{{"os", "macOS"}, {"version", "14.1.0"}}, nullptr);
    }
    if (command == "LIST_CERTIFICATES") {
        json::array list;
        if (manner.hasCertificates) {
            list = {json::object{{"name", "First"}, {"issuerDn", "Issuer <b>1</b>"},
                        {"certificateDigest", m_digest}},
                json::object{{"name", "Second"}, {"issuerDn", "Issuer 2"},
                    {"certificateDigest", "another"}}};
        }
        return envelopeText(
            "CERTIFICATE_LIST", json::value(base64Encoded(json::serialize(list))), nullptr);
    }
    const json::object& asked = request.at("payload").as_object();
    const json::value* bytes = asked.if_contains("bytesToSign");
    const std::string data = bytes != nullptr
        ? base64Decoded(std::string(bytes->as_string())).value_or("")
        : std::string(asked.at("xmlSignedInfo").as_string());
    json::object payload{{"signature", base64Encoded(m_signer.sign(data))},
        {"certificate", base64Encoded(m_signer.certificateDer())},
        {"requestId", request.at("requestId")}};
    for (const char* echoed : {"pdfToSign", "xmlSignedInfo"}) {
        const json::value* sent = asked.if_contains(echoed);
        payload[echoed] = sent != nullptr ? *sent : json::value(nullptr);
    }
    for (const auto& [key, value] : manner.changes) {
        payload[key] = value;
    }
    return envelopeText(command + "_RESPONSE", payload, request.at("requestId"));
}

} // namespace devserver::test
