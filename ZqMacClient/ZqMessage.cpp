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

/// The text without its last character, which may take several bytes. The body of a frame ends in
/// NUL, which joins no character before it (UAX #29, GB4 and GB5): the last code point is all of
/// it.
std::string_view withoutLastCharacter(std::string_view text) {
    if (text.empty()) {
        fatalError("the body of a message is empty");
    }
    while (text.size() > 1 && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) {
        text.remove_suffix(1);
    }
    text.remove_suffix(1);
    return text;
}

JsonObject readEnvelope(std::string_view text) {
    if (!isUtf8(text)) {
        fatalError("the body of a message cannot be encoded as UTF-8");
    }
    JsonReadResult result = readJson(text);
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

std::unique_ptr<const ZqMessage> ZqMessage::initWithBody(std::string body) {
    JsonObject envelope = readEnvelope(withoutLastCharacter(body));
    std::optional<JsonValue> command = envelope.take("command");
    if (!command) {
        ZqError("Malformed server message received", "Message command missing").showAndExit();
    }
    std::string* name = command->as<std::string>();
    if (name == nullptr) {
        fatalError("the command of a message is not text");
    }
    std::optional<JsonValue> payload = envelope.take("payload");
    std::optional<JsonValue> requestId = envelope.take("requestId");
    if (!requestId) {
        requestId = JsonValue("");
    }
    return std::make_unique<const ZqMessage>(
        std::move(*name), std::move(payload), std::move(requestId));
}

std::optional<std::string> ZqMessage::getBody() const {
    const JsonValue command(m_command);
    JsonWriteResult result = writeJsonObject({
        {"command", &command},
        {"payload", m_payload ? &*m_payload : nullptr},
        {"requestId", m_requestId ? &*m_requestId : nullptr},
    });
    if (!result.text) {
        ZqError("Error serializing message", result.errorDescription).showAndExit();
    }
    return std::move(result.text);
}
