// SPDX-License-Identifier: MIT
#include "tests/differential/Envelopes.h"

namespace differential {

namespace {

using Members = std::vector<Json::Member>;

const std::vector<std::string> commands{"SERVER_CONNECT", "GET_DIAGNOSTICS", "LIST_CERTIFICATES",
    "SIGN_PDF", "SIGN_PDF", "SIGN_PDF", "SIGN_XML", "SIGN_XML", "SIGN_XML"};

/// Adds a member, as it should be most of the time.
void add(Members& members, Random& random, const std::string& name, const std::string& text) {
    if (random.chance(3)) {
        return; // missing
    }
    members.emplace_back(name, random.chance(2) ? anyJson(random, 1) : Json::string(text));
}

std::string encodedBytes(Random& random) {
    const std::string text = base64(anyText(random));
    switch (random.below(25)) {
    case 0:
        return text + "\n";
    case 1:
        return "QQ"; // without padding
    case 2:
        return "A" + text + "*";
    default:
        return text;
    }
}

Json signingPayload(Random& random, const Scenario& scenario, bool isPdf) {
    if (random.chance(2)) {
        return anyJson(random, 2);
    }
    Members members;
    const bool isKnown = !scenario.identities.empty() && !random.chance(4);
    add(members, random, "certificateDigest",
        isKnown ? digestOf(random.pick(scenario.identities)) : anyText(random));
    if (isPdf) {
        add(members, random, "bytesToSign", encodedBytes(random));
        if (random.chance(50)) {
            add(members, random, "pdfToSign", encodedBytes(random));
        }
    } else {
        add(members, random, "xmlSignedInfo", anyText(random));
    }
    add(members, random, "signatureAlgorithm",
        random.pick<std::string>(
            {"SHA256withRSA", "SHA256withRSA", "SHA1withRSA", "sha256withrsa", ""}));
    if (random.chance(20)) {
        members.emplace_back("more", anyJson(random, 2));
    }
    if (random.chance(30) && members.size() > 1) {
        std::swap(members.front(), members.back());
    }
    return Json::object(std::move(members));
}

Json makeEnvelope(Random& random, const Scenario& scenario) {
    Members members;
    std::string command = random.pick(commands);
    if (random.chance(10)) {
        command = random.pick<std::string>({"server_connect", "SIGN_PDF ", "", "UNKNOWN \xC3\xA9",
            "TERMINATE_CLIENT", "SERVER_DISCONNECT"});
    }
    if (!random.chance(1)) {
        members.emplace_back(
            "command", random.chance(1) ? anyJson(random, 1) : Json::string(command));
    }
    const bool isSigning = command == "SIGN_PDF" || command == "SIGN_XML";
    if (isSigning ? !random.chance(2) : random.chance(40)) {
        members.emplace_back("payload",
            isSigning ? signingPayload(random, scenario, command == "SIGN_PDF")
                      : anyJson(random, 3));
    }
    if (!random.chance(15)) {
        members.emplace_back(
            "requestId", random.chance(60) ? Json::string(anyText(random)) : anyJson(random, 2));
    }
    if (random.chance(20)) {
        members.emplace_back("further", anyJson(random, 2));
    }
    if (random.chance(30) && members.size() > 1) {
        std::swap(members.front(), members.back());
    }
    return Json::object(std::move(members));
}

void fillBody(ServerFrame& frame, Random& random, const Scenario& scenario) {
    switch (random.below(40)) {
    case 0:
        frame.bodyKind = ServerFrame::Body::notJson;
        frame.body = random.pick<std::string>(
            {"", "{", "{\"command\":}", "7", "\"text\"", "{\"command\":\"X\"} x", "{\"a\":01}"});
        break;
    case 1:
        frame.bodyKind = ServerFrame::Body::notUtf8;
        frame.body = "{\"command\":\"\xC3\"}";
        break;
    case 2:
        frame.bodyKind = ServerFrame::Body::otherJson;
        frame.envelope = Json::array({anyJson(random, 2)});
        frame.body = spelled(frame.envelope, random);
        break;
    default:
        frame.envelope = makeEnvelope(random, scenario);
        frame.body = spelled(frame.envelope, random);
        break;
    }
}

void addError(ServerFrame& frame, Random& random) {
    frame.kind = ServerFrame::Kind::error;
    frame.body = random.pick<std::string>({"", "details of it", "two\nlines"});
    frame.wire = "ERROR\n";
    if (!random.chance(20)) {
        frame.errorMessage = random.pick<std::string>({"", "Room is taken", "a b"});
        frame.wire += "message:" + *frame.errorMessage + "\n";
    }
    frame.wire += "\n" + frame.body + std::string(1, '\0');
}

} // namespace

ServerFrame makeFrame(Random& random, const Scenario& scenario) {
    ServerFrame frame;
    switch (random.below(25)) {
    case 0:
        addError(frame, random);
        return frame;
    case 1:
        frame.kind = ServerFrame::Kind::receipt;
        frame.wire = "RECEIPT\nreceipt-id:7\n\n" + std::string(1, '\0');
        return frame;
    case 2:
        frame.kind = ServerFrame::Kind::unknown;
        frame.command = random.pick<std::string>({"HELLO", "message", "X"});
        frame.wire = frame.command + "\nversion:1.2\n\n" + std::string(1, '\0');
        return frame;
    case 3:
        frame.kind = ServerFrame::Kind::beat;
        frame.wire = random.pick<std::string>({"\n", "\r\n", "\n\n\n"});
        return frame;
    default:
        fillBody(frame, random, scenario);
        frame.wire = "MESSAGE\ndestination:/topic/room/r\nmessage-id:1\nsubscription:sub-0\n";
        if (random.chance(60)) {
            frame.wire += "content-length:" + std::to_string(frame.body.size()) + "\n";
        }
        frame.wire += "\n" + frame.body + std::string(1, '\0');
        return frame;
    }
}

} // namespace differential
