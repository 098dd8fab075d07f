// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqConsent.h"

#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "ZqMacClient/ZqSignedAttributes.h"
#include "ZqMacClient/ZqSignedInfo.h"
#include "foundation/HexEncoding.h"
#include "platform/Platform.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

using platform::current;
using platform::NSLog;

namespace {

constexpr const char* onlyAlgorithm = "SHA256withRSA";
constexpr std::uint32_t roomCodes = 1'000'000;
constexpr std::size_t roomCodeDigits = 6;

std::string_view textOf(BytesView bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// A text of a certificate within one line.
std::string lineOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    return text;
}

/// What a signature of these bytes is; empty for anything but a document's.
std::string documentSignature(BytesView content) {
    if (isSignedAttributes(content)) {
        return "PDF signature";
    }
    return isSignedInfo(textOf(content)) ? "XML signature" : "";
}

std::string subjectOfSignature(BytesView content) {
    const std::string document = documentSignature(content);
    return document.empty() ? std::to_string(content.size()) + " bytes of another kind" : document;
}

} // namespace

ZqConsent::ZqConsent(ZqGatekeeper gatekeeper, platform::NetworkHost server, std::uint64_t port,
    const std::string& roomId)
    : m_gatekeeper(std::move(gatekeeper))
    , m_server(std::move(server))
    , m_port(port)
    , m_roomCode(roomCode(roomId)) {
}

std::string ZqConsent::roomCode(const std::string& roomId) {
    const auto digest = current().system().CC_SHA256(bytesOf(roomId));
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number = (number << 8) | digest[i];
    }
    std::string digits = std::to_string(number % roomCodes);
    return digits.insert(0, roomCodeDigits - digits.size(), '0');
}

void ZqConsent::beforeListing() {
    m_gatekeeper.admitServer(m_server, m_port);
    askForSession();
}

void ZqConsent::beforeSigning(BytesView content, const std::string& algorithm) {
    m_gatekeeper.admitServer(m_server, m_port);
    holdAgainstContentRule(content, algorithm);
    askForSession(); // signing begins with a look into the keychain
}

void ZqConsent::holdAgainstContentRule(BytesView content, const std::string& algorithm) const {
    if (m_gatekeeper.policy()->content() == ZqContentRule::any) {
        return;
    }
    const std::string document = documentSignature(content);
    if (algorithm == onlyAlgorithm && !document.empty()) {
        NSLog("Policy: ", document, " is allowed");
        return;
    }
    const auto wanted = [&](const std::string& name) {
        return algorithm == onlyAlgorithm ? std::to_string(content.size())
                + " bytes that are neither those of a PDF signature nor those of an XML signature"
                                          : "\"" + name + "\", not " + onlyAlgorithm;
    };
    const auto details = [&](const std::string& name) {
        return m_server.authority(m_port) + " asks for a signature of " + wanted(name)
            + ". This computer's administrator allows signatures of documents alone.";
    };
    const std::string logged = ZqLogPrivacy::name(algorithm);
    NSLog("Policy: a signature of ", wanted(logged), " is refused");
    const std::string message = "Content not allowed";
    ZqError(message, details(algorithm)).logAs(message, details(logged)).showAndExit();
}

void ZqConsent::askForSession() {
    const ZqConsentRule rule = m_gatekeeper.policy()->consent();
    if (rule == ZqConsentRule::none || m_isSessionAllowed) {
        return;
    }
    const bool isForAll = rule == ZqConsentRule::session;
    ask(isForAll ? "" : "Asked for: the list of your certificates\n",
        isForAll ? "Allow for this session" : "Allow the list",
        isForAll ? "this session" : "a list of certificates");
    m_isSessionAllowed = true;
}

void ZqConsent::beforeSignature(const ZqCertificate& certificate, BytesView content) {
    if (m_gatekeeper.policy()->consent() != ZqConsentRule::signature) {
        return;
    }
    const std::string subject = subjectOfSignature(content);
    const std::string number = std::to_string(m_signatures + 1);
    const std::string digest = hexEncodedString(current().system().CC_SHA256(content));
    ask("Certificate: " + lineOf(certificate.subjectDn.value_or("")) + "\nIssued by: "
            + lineOf(certificate.issuerDn.value_or("")) + "\nTo be signed: " + subject
            + "\nSHA-256: " + digest + "\nSignature " + number + " of this session\n",
        "Allow this signature", "signature " + number + ", " + subject + ", SHA-256 " + digest);
    ++m_signatures;
}

void ZqConsent::ask(
    const std::string& subject, const std::string& allow, const std::string& logged) const {
    const bool isInternational = m_server.display.find(m_server.name) == std::string::npos;
    platform::NSAlert alert;
    alert.alertStyle = platform::NSAlertStyle::warning;
    alert.messageText = m_server.display + " wants to use your certificates";
    alert.informativeText = "Server: " + m_server.display
        + (isInternational ? " (" + m_server.name + ")" : std::string()) + ", port "
        + std::to_string(m_port) + "\nRoom code: " + m_roomCode + "\n" + subject
        + "\nIf you did not just start signing there, refuse.";
    alert.buttons = {allow, "Refuse"};
    NSLog(
        "Consent: ", m_server.authority(m_port), ", room code ", m_roomCode, ", asks for ", logged);
    platform::Trust* const trust = platform::trust();
    if (trust == nullptr || !trust->agrees(alert)) {
        NSLog("Consent: refused");
        platform::exitProcess(EXIT_FAILURE);
    }
    NSLog("Consent: allowed");
}
