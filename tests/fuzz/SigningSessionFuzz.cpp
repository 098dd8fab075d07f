// SPDX-License-Identifier: MIT
// The whole program with a hostile server: each command is answered, ignored or ends the process as
// defined. Input: the bodies of MESSAGE frames, one a line.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqMessage.h"
#include "tests/fuzz/DefinedEnd.h"
#include "tests/support/StompText.h"

#include <set>

using fuzz::require;

namespace {

/// What was sent is one SEND frame whose body is an envelope.
void requireAnswer(const std::string& sent) {
    stomp::FrameDecoder decoder;
    std::string_view rest = sent;
    stomp::Frame frame;
    require(decoder.decode(rest, frame) == stomp::FrameDecoder::Result::frame && rest.empty(),
        "an answer is one frame");
    require(frame.command == "SEND" && *frame.headers.find("destination") == "/app/room/r",
        "an answer goes to the room");
    const auto message = ZqMessage::initWithBody(frame.body + '\0');
    static const std::set<std::string> known{"CLIENT_CONNECT", "DIAGNOSTICS", "CERTIFICATE_LIST",
        "SIGN_PDF_RESPONSE", "SIGN_XML_RESPONSE"};
    require(known.contains(message->command()), "an answer has a name of the protocol");
}

} // namespace

void fuzz::target(std::string_view bytes) {
    MemoryPlatform memory;
    memory.security().addIdentity("Alice");
    ViewController view(memory.userInterface().statusTextView());
    view.viewDidLoad();
    view.connectToServer("quillet://h/?roomId=r");
    MemoryWebSocket& server = *memory.network().webSockets.at(0);
    server.open();
    server.receive(connectedText());
    memory.application().runPending();
    const std::size_t greeting = server.sent.size(); // CONNECT and SUBSCRIBE

    Input input(bytes);
    std::string end = "runs on";
    while (!input.isEmpty() && end == "runs on") {
        const std::size_t before = server.sent.size();
        server.receive(messageText(std::string(input.takeUntil('\n'))));
        end = endOf([&] { memory.application().runPending(); });
        require(server.sent.size() <= before + 1, "a command has one answer at most");
    }
    requireDefinedEnd(memory, end);
    for (std::size_t i = greeting; i < server.sent.size(); ++i) {
        requireAnswer(server.sent[i]);
    }
}
