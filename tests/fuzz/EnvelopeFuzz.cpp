// SPDX-License-Identifier: MIT
// The envelope: a body is read or ends the process as defined, and what was read is written and
// read again as the same. Input: the body of a frame.
#include "ZqMacClient/DebugDescription.h"
#include "ZqMacClient/ZqMessage.h"
#include "foundation/JsonWriter.h"
#include "tests/fuzz/DefinedEnd.h"

using fuzz::require;

void fuzz::target(std::string_view body) {
    const MemoryPlatform memory;
    std::unique_ptr<const ZqMessage> message;
    const std::string end = endOf([&] { message = ZqMessage::initWithBody(std::string(body)); });
    if (message == nullptr) {
        require(end == "exit 1" || end == "abort", "what is no envelope ends the process");
        requireDefinedEnd(memory, end);
        return;
    }
    LogLine().addOptional(message->payload()).addOptional(message->requestId()).write();

    const std::string written = message->getBody()->joined();
    const auto again = ZqMessage::initWithBody(written + '\0');
    require(again->command() == message->command(), "the command comes back");
    require(again->payload().has_value(), "a written envelope has a payload");
    const JsonValue null(nullptr);
    require(writeJson(*again->payload()).text == writeJson(message->payload().value_or(null)).text,
        "the payload comes back");
    require(writeJson(*again->requestId()).text == writeJson(*message->requestId()).text,
        "the request id comes back");
    require(*again->getBody() == written, "an envelope is written the same again");
}
