// SPDX-License-Identifier: MIT
#include "tests/differential/ModelSession.h"

#include "tests/support/ReferenceDigests.h"

namespace differential {

namespace {

std::string optional(const Json* value) {
    if (value == nullptr) {
        return "nil";
    }
    return "Optional(" + (value->kind == Json::Kind::null ? "<null>" : compact(*value)) + ")";
}

std::string hashed(const std::string& text, const std::string& algorithm) {
    if (algorithm == "SHA256withRSA") {
        const auto digest = referenceSha256(bytesOf(text));
        return {digest.begin(), digest.end()};
    }
    const auto digest = referenceSha1(bytesOf(text));
    return {digest.begin(), digest.end()};
}

std::optional<std::string> joined(const std::optional<std::vector<std::string>>& names) {
    if (!names) {
        return std::nullopt;
    }
    std::string text;
    for (const std::string& name : *names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::string nameOf(const Identity& identity) {
    return identity.commonName ? *identity.commonName : *joined(identity.subject);
}

/// A connected session.
class Session {
public:
    Session(Story& story, const Scenario& scenario)
        : m_story(story)
        , m_scenario(scenario) { }

    void begin() {
        m_story.notification("Connected to Quillet server");
        m_story.add(
            "log: Subscribing to messages on room Optional(" + quoted(m_scenario.link.room) + ")");
        m_story.add("sent: SUBSCRIBE\ndestination:" + header("/topic/room/" + m_scenario.link.room)
            + "\nx-source:zq_client\nid:sub-0\nclient_version:" + versionText(installedVersion)
            + "\n\n" + std::string(1, '\0'));
    }

    void take(const ServerFrame& frame) {
        switch (frame.kind) {
        case ServerFrame::Kind::message:
            takeMessage(frame);
            break;
        case ServerFrame::Kind::error:
            if (!frame.errorMessage) {
                m_story.abort();
            }
            m_story.alert(*frame.errorMessage, frame.body);
        case ServerFrame::Kind::unknown:
            m_story.add("log: Ignoring STOMP frame: " + frame.command);
            break;
        default:
            break;
        }
    }

private:
    /// A header's value as the version of the session escapes it.
    std::string header(const std::string& value) const {
        std::string out;
        for (const char c : value) {
            const bool isEscaped
                = m_scenario.stompVersion == "1.1" || m_scenario.stompVersion == "1.2";
            out += isEscaped && c == ':' ? "\\c"
                : isEscaped && c == '\\' ? "\\\\"
                                         : std::string(1, c);
        }
        return out;
    }

    void takeMessage(const ServerFrame& frame) {
        m_story.add("log: STOMP message received: " + frame.body + std::string(1, '\0'));
        if (frame.bodyKind == ServerFrame::Body::notJson) {
            m_story.alert("Error parsing server message", anyWords);
        }
        if (frame.bodyKind != ServerFrame::Body::envelope) {
            m_story.abort();
        }
        const Json* command = frame.envelope.find("command");
        if (command == nullptr) {
            m_story.alert("Malformed server message received", "Message command missing");
        }
        if (!command->isText()) {
            m_story.abort();
        }
        m_payload = frame.envelope.find("payload");
        const Json* requestId = frame.envelope.find("requestId");
        m_requestId = requestId == nullptr ? Json::string("") : *requestId;
        m_story.add("log: Processing command: " + command->text);
        dispatch(command->text);
    }

    void dispatch(const std::string& command) {
        if (command == "SERVER_CONNECT") {
            send("CLIENT_CONNECT", nullptr, nullptr);
        } else if (command == "TERMINATE_CLIENT" || command == "SERVER_DISCONNECT") {
            m_story.add("log: " + command + " received - exiting");
            m_story.exit(0);
        } else if (command == "GET_DIAGNOSTICS") {
            m_story.notification("Getting diagnostics");
            const Json payload = Json::object(
                {{"os", Json::string("macOS")}, {"version", Json::string("13.6.0")}});
            send("DIAGNOSTICS", &payload, nullptr);
        } else if (command == "LIST_CERTIFICATES") {
            listCertificates();
        } else if (command == "SIGN_PDF") {
            signPdf();
        } else if (command == "SIGN_XML") {
            signXml();
        } else {
            m_story.add("log: Ignoring command: " + command);
        }
    }

    void send(const std::string& command, const Json* payload, const Json* requestId) {
        m_story.add("log: Sending message: " + command + " " + optional(payload) + " "
            + optional(requestId));
        const std::string body = "{\"command\":" + quoted(command)
            + ",\"payload\":" + (payload == nullptr ? "null" : compact(*payload))
            + ",\"requestId\":" + (requestId == nullptr ? "null" : compact(*requestId)) + "}";
        m_story.add("sent: SEND\ndestination:" + header("/app/room/" + m_scenario.link.room)
            + "\ncontent-length:" + std::to_string(body.size()) + "\n\n" + body
            + std::string(1, '\0'));
    }

    /// The identities that are offered.
    std::vector<const Identity*> list() {
        m_story.add("SecKeychainCopyDefault");
        if (!m_scenario.keychainOpens) {
            m_story.alert("Error opening the default keychain", "");
        }
        m_story.add("SecItemCopyMatching");
        if (m_scenario.queryFails) {
            m_story.alert("Error listing certificates 1",
                "The specified item could not be found in the keychain.");
        }
        std::vector<const Identity*> found;
        for (const Identity& identity : m_scenario.identities) {
            m_story.add("SecIdentityCopyPrivateKey <" + identity.name + ">");
            if (identity.fails) {
                m_story.alert("Error obtaining identity certificate and key references", "");
            }
            m_story.add("SecIdentityCopyCertificate <" + identity.name + ">");
            m_story.add("log: Parsing certificiate Optional(<" + identity.name + ">)");
            if (!identity.serial) {
                m_story.alert(
                    "Error listing certificates 4", "Error parsing certificate serial number");
            }
            if (!identity.hasValues) {
                m_story.alert("Error listing certificates 5", "Error parsing certificate");
            }
            if (nameOf(identity).rfind("com.apple.", 0) != 0) {
                found.push_back(&identity);
            }
        }
        return found;
    }

    void listCertificates() {
        m_story.notification("Listing certificates");
        const auto text = [](const std::optional<std::string>& value) {
            return value ? Json::string(*value) : Json::null();
        };
        std::vector<Json> records;
        for (const Identity* identity : list()) {
            const std::string name = nameOf(*identity);
            records.push_back(
                Json::object({{"alias", Json::string(name)}, {"name", Json::string(name)},
                    {"certificateDigest", Json::string(digestOf(*identity))},
                    {"validFrom", Json::null()}, {"validTo", Json::null()},
                    {"issuerDn", text(joined(identity->issuer))},
                    {"subjectDn", text(joined(identity->subject))},
                    {"serialHex", text(identity->serial)}, {"certificate", Json::null()}}));
        }
        const Json payload = Json::string(base64(compact(Json::array(std::move(records)))));
        send("CERTIFICATE_LIST", &payload, nullptr);
    }

    /// The text under a key that must be there.
    std::string required(const std::string& key, const std::string& detailsWhenMissing) {
        const Json* value = m_payload->find(key);
        if (value == nullptr) {
            m_story.alert("Malformed message received", detailsWhenMissing);
        }
        return textOf(*value);
    }
    std::string textOf(const Json& value) {
        if (!value.isText()) {
            m_story.abort();
        }
        return value.text;
    }
    std::string algorithm() {
        const Json* value = m_payload->find("signatureAlgorithm");
        if (value == nullptr) {
            m_story.abort();
        }
        return textOf(*value);
    }
    std::string beginSigning() {
        if (m_payload == nullptr) {
            m_story.alert("Malformed message received", "Message payload missing");
        }
        if (m_payload->kind != Json::Kind::object) {
            m_story.abort();
        }
        return required("certificateDigest", "Certificate digest missing");
    }

    const Identity& find(const std::string& digest) {
        for (const Identity* identity : list()) {
            if (digestOf(*identity) == digest) {
                return *identity;
            }
        }
        m_story.alert(
            "Signing certificate not found in user keychain", "Certificate digest: " + digest);
    }

    /// The signature as the answer carries it.
    Json signedBy(const Identity& identity) {
        if (!identity.hasKey) {
            m_story.abort();
        }
        m_story.add("SecKeyIsAlgorithmSupported <" + identity.name + ">");
        if (!m_scenario.algorithmSupported) {
            m_story.add("print: Unsupported algorithm");
            return Json::null();
        }
        m_story.add("SecKeyCreateSignature <" + identity.name + ">");
        if (!m_scenario.signature) {
            m_story.add("print: Error creating signature: "
                + (m_scenario.signatureError ? "Optional(" + *m_scenario.signatureError + ")"
                                             : std::string("nil")));
            return Json::null();
        }
        return Json::string(base64(*m_scenario.signature));
    }

    void answer(const std::string& command, std::vector<Json::Member> members) {
        members.emplace_back("requestId", m_requestId);
        const Json payload = Json::object(std::move(members));
        send(command, &payload, &m_requestId);
    }

    void signPdf() {
        m_story.notification("Signing attachment");
        m_story.add("log: Signing PDF: " + optional(m_payload));
        const std::string digest = beginSigning();
        const auto size = base64Size(required("bytesToSign", "PDF bytes to sign"));
        const Json* document = m_payload->find("pdfToSign");
        const bool hasDocument = document != nullptr && base64Size(textOf(*document));
        const std::string name = algorithm();
        const Identity& identity = find(digest);
        m_story.add("log: bytesToSign: "
            + (size ? "Optional(" + std::to_string(*size) + " bytes)" : std::string("nil")));
        m_story.add("log: privateKey: "
            + (identity.hasKey ? "Optional(<" + identity.name + ">)" : std::string("nil")));
        m_story.add("log: signatureAlgorithm: " + name);
        m_story.add("log: keychain: ZqMacClient.ZqKeychainAccess");
        if (!size) {
            m_story.abort();
        }
        const Json signature = signedBy(identity);
        m_story.add("log: PDF successfully signed: "
            + (signature.isText() ? optional(&signature) : std::string("nil")));
        answer("SIGN_PDF_RESPONSE",
            {{"signature", signature}, {"certificate", Json::string(base64(identity.der))},
                {"pdfToSign", hasDocument ? *document : Json::null()}});
    }

    void signXml() {
        m_story.notification("Signing document");
        m_story.add("log: Signing XML document: " + optional(m_payload));
        const std::string digest = beginSigning();
        const std::string info = required("xmlSignedInfo", "XML signed info missing");
        const std::string name = algorithm();
        m_story.add("log: xmlSignedInfo: " + info);
        const Identity& identity = find(digest);
        m_story.add(
            "log: xmlSignedInfo digest: Optional(" + quoted(base64(hashed(info, name))) + ")");
        const Json signature = signedBy(identity);
        m_story.add("log: XML successfully signed: "
            + (signature.isText() ? optional(&signature) : std::string("nil")));
        answer("SIGN_XML_RESPONSE",
            {{"signature", signature}, {"xmlSignedInfo", Json::string(info)},
                {"certificate", Json::string(base64(identity.der))}});
    }

    Story& m_story;
    const Scenario& m_scenario;
    const Json* m_payload = nullptr;
    Json m_requestId;
};

} // namespace

void runSession(Story& story, const Scenario& scenario) {
    const Link& link = scenario.link;
    const std::string address = link.host + ":" + std::to_string(link.port);
    story.add("log: Server: quillet://" + address);
    story.add("log: Room ID: " + link.room);
    story.add("log: Connecting to Quillet server " + address);
    story.add("connect: " + address + link.encodedPath + "/room/" + link.encodedRoom);
    const auto end = [&](const std::string& how) {
        story.add("log: " + how);
        story.add("log: STOMP client disconnected from server");
        story.exit(0);
    };
    if (!scenario.webSocketOpens) {
        end("Could not connect to wss://" + address + ": gone");
    }
    story.add("sent: CONNECT\naccept-version:1.0,1.1,1.2\nhost:" + link.host
        + "\nheart-beat:10000,10000\n\n" + std::string(1, '\0'));
    Session session(story, scenario);
    if (scenario.isGreeted) {
        session.begin();
    }
    for (const ServerFrame& frame : scenario.frames) {
        if (!scenario.isGreeted && frame.kind != ServerFrame::Kind::error
            && frame.kind != ServerFrame::Kind::beat) {
            const std::string name = frame.wire.substr(0, frame.wire.find('\n'));
            end("Could not connect to wss://" + address + ": the server sent " + name
                + " before CONNECTED");
        }
        session.take(frame);
    }
    end((scenario.isGreeted ? "Connection to wss://" : "Could not connect to wss://") + address
        + (scenario.isGreeted ? " lost: gone" : ": gone"));
}

} // namespace differential
