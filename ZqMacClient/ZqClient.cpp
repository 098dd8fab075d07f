// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqClient.h"

#include "ZqMacClient/ApplicationVersion.h"
#include "ZqMacClient/DebugDescription.h"
#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqKeychainAccess.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "ZqMacClient/ZqNotification.h"
#include "ZqMacClient/ZqPdfSigner.h"
#include "ZqMacClient/ZqXmlSigner.h"
#include "foundation/Base64.h"
#include "foundation/JsonWriter.h"
#include "platform/Platform.h"

#include <cstdlib>
#include <utility>

using platform::fatalError;
using platform::NSLog;

ZqClient::ZqClient(ViewController* viewController)
    : m_viewController(viewController) {
    if (m_viewController == nullptr) {
        fatalError("a session needs a view");
    }
}

void ZqClient::connect(std::optional<std::string> host, std::optional<std::uint64_t> port,
    std::optional<std::string> url, std::optional<std::string> roomId) {
    m_roomId = std::move(roomId);
    if (!host || !port) {
        fatalError("a session needs the host and the port of its server");
    }
    NSLog("Connecting to Quillet server ", *host, ":", std::to_string(*port));
    m_client = CRVStompClient::initWithHost(*host, *port, std::move(url), std::nullopt,
        std::nullopt, weak_from_this(), /*autoconnect=*/true, /*wss=*/true);
}

void ZqClient::stompClientDidConnect(CRVStompClient* client) {
    ZqNotification("Connected to Quillet server", "Quillet").show();
    const std::optional<std::string> version = applicationVersion();
    LogLine().add("Subscribing to messages on room ").addOptional(m_roomId).write();
    if (!m_roomId || client == nullptr) {
        fatalError("a subscription needs a room and a connection");
    }
    client->subscribeToDestination("/topic/room/" + *m_roomId,
        {{"x-source", "zq_client"}, {"id", "sub-0"}, {"client_version", version}});
}

void ZqClient::messageReceived(
    CRVStompClient* client, std::optional<OwnedText> body, const stomp::Headers&) {
    if (!body) {
        fatalError("a message has no body");
    }
    JudgedText text(*std::move(body));
    ZqLogPrivacy::log("STOMP message received: ", text);
    const auto message = ZqMessage::initWithBody(std::move(text));
    NSLog("Processing command: ", ZqLogPrivacy::name(message->command()));
    dispatch(client, *message);
}

void ZqClient::dispatch(CRVStompClient* service, const ZqMessage& message) {
    const std::string& command = message.command();
    if (command == "SERVER_CONNECT") {
        const ZqMessage reply("CLIENT_CONNECT", std::nullopt, std::nullopt);
        send(service, &reply);
    } else if (command == "TERMINATE_CLIENT" || command == "SERVER_DISCONNECT") {
        exitAfter(command);
    } else if (command == "GET_DIAGNOSTICS") {
        getDiagnostics(service);
    } else if (command == "LIST_CERTIFICATES") {
        if (service == nullptr) {
            fatalError("a certificate list needs a connection to go to");
        }
        listCertificates(service);
    } else if (command == "SIGN_XML") {
        ZqXmlSigner().signXml(service, this, &message);
    } else if (command == "SIGN_PDF") {
        ZqPdfSigner().signPdf(service, this, &message);
    } else {
        NSLog("Ignoring command: ", ZqLogPrivacy::name(command));
    }
}

void ZqClient::exitAfter(const std::string& command) {
    NSLog(command, " received - exiting");
    platform::exitProcess(EXIT_SUCCESS);
}

void ZqClient::send(CRVStompClient* service, const ZqMessage* message) {
    if (message == nullptr) {
        fatalError("there is no message to send");
    }
    LogLine line;
    line.add("Sending message: ").add(message->command()).add(" ");
    ZqLogPrivacy::addPayload(line, message->payload()).add(" ");
    ZqLogPrivacy::addPayload(line, message->requestId()).write();
    std::optional<TextPieces> body = message->getBody();
    if (service == nullptr || !m_roomId) {
        fatalError("a message needs a connection and a room to go to");
    }
    service->sendMessage(std::move(body), "/app/room/" + *m_roomId);
}

void ZqClient::getDiagnostics(CRVStompClient* service) {
    ZqNotification("Getting diagnostics", "Quillet").show();
    JsonObject payload{
        {"os", "macOS"}, // on every system: part of the protocol
        {"version", systemVersionText()},
    };
    const ZqMessage answer("DIAGNOSTICS", std::move(payload), std::nullopt);
    send(service, &answer);
}

void ZqClient::listCertificates(CRVStompClient* service) {
    ZqNotification("Listing certificates", "Quillet").show();
    if (m_consent) {
        m_consent->beforeListing();
    }
    JsonArray certificates;
    for (const ZqCertificate& certificate :
        ZqKeychainAccess().listCertificates(/*withRawValues=*/false)) {
        certificates.emplace_back(certificate.getDictionary());
    }
    if (m_consent) {
        m_consent->afterUse();
    }
    const JsonWriteResult result = writeJson(std::move(certificates));
    if (!result.text) {
        ZqError("Error serializing message", result.errorDescription).showAndExit();
    }
    const ZqMessage answer("CERTIFICATE_LIST", base64Encoded(bytesOf(*result.text)), std::nullopt);
    send(service, &answer);
}

void ZqClient::stompClientDidDisconnect(CRVStompClient*) {
    NSLog("STOMP client disconnected from server");
    platform::exitProcess(EXIT_SUCCESS);
}

void ZqClient::serverDidSendError(
    CRVStompClient*, std::optional<std::string> message, std::optional<std::string> details) {
    if (!message || !details) {
        fatalError("a server error lacks its message or its details");
    }
    ZqError(*message, *details)
        .logAs(ZqLogPrivacy::text(*message), ZqLogPrivacy::text(*details))
        .showAndExit();
}
