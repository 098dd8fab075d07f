// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqMessage.h"

#include "ZqMacClient/ZqError.h"
#include "foundation/JsonReader.h"
#include "foundation/JsonWriter.h"
#include "foundation/Utf8.h"
#include "platform/Platform.h"

#include <utility>

using platform::fatalError;

namespace {

/// The bytes of the last character, which may be several. The body of a frame ends in NUL, which
/// joins no character before it (UAX #29, GB4 and GB5): the last code point is all of it.
std::size_t lastCharacterLength(std::string_view text) {
    if (text.empty()) {
        fatalError("the body of a message is empty");
    }
    std::size_t length = 1;
    while (length < text.size()
        && (static_cast<unsigned char>(text[text.size() - length]) & 0xC0) == 0x80) {
        ++length;
    }
    return length;
}

JsonObject readEnvelope(JudgedText text) {
    if (!isUtf8(text.rest())) {
        fatalError("the body of a message cannot be encoded as UTF-8");
    }
    JsonReadResult result = readJson(std::move(text));
    if (!result.value) {
        ZqError("Error parsing server message", result.errorDescription).showAndExit();
    }
    JsonObject* envelope = result.value->as<JsonObject>();
    if (envelope == nullptr) {
        fatalError("the top level of a message is not an object");
    }
    return std::move(*envelope);
}

} // namespace

ZqMessage::ZqMessage(
    std::string command, std::optional<JsonValue> payload, std::optional<JsonValue> requestId)
    : m_command(std::move(command))
    , m_payload(std::move(payload))
    , m_requestId(std::move(requestId)) {
}

std::unique_ptr<const ZqMessage> ZqMessage::initWithBody(JudgedText body) {
    body.removeSuffix(lastCharacterLength(body.view()));
    JsonObject envelope = readEnvelope(std::move(body));
    std::optional<JsonValue> command = envelope.take("command");
    if (!command) {
        ZqError("Malformed server message received", "Message command missing").showAndExit();
    }
    const JsonText* name = command->as<JsonText>();
    if (name == nullptr) {
        fatalError("the command of a message is not text");
    }
    std::optional<JsonValue> payload = envelope.take("payload");
    std::optional<JsonValue> requestId = envelope.take("requestId");
    if (!requestId) {
        requestId = JsonValue("");
    }
    return std::make_unique<const ZqMessage>(
        std::string(name->view()), std::move(payload), std::move(requestId));
}

std::optional<TextPieces> ZqMessage::getBody() const {
    const JsonValue command(m_command);
    JsonWritten<TextPieces> result = writeJsonObject({
        {"command", &command},
        {"payload", m_payload ? &*m_payload : nullptr},
        {"requestId", m_requestId ? &*m_requestId : nullptr},
    });
    if (!result.text) {
        ZqError("Error serializing message", result.errorDescription).showAndExit();
    }
    return std::move(result.text);
}
