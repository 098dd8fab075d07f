// SPDX-License-Identifier: MIT
#pragma once

#include "foundation/CleanText.h"
#include "foundation/JsonValue.h"
#include "foundation/TextPieces.h"

#include <memory>
#include <optional>
#include <string>

/// The JSON envelope of every frame body, in either direction. Immutable.
class ZqMessage {
public:
    ZqMessage(
        std::string command, std::optional<JsonValue> payload, std::optional<JsonValue> requestId);

    /// Reads the body of a received frame, JSON text followed by one further character. What is no
    /// envelope ends the process; in that case nothing is returned.
    static std::unique_ptr<const ZqMessage> initWithBody(JudgedText body);

    const std::string& command() const { return m_command; }
    /// Absent when the envelope had no such key; a JSON null is present.
    const std::optional<JsonValue>& payload() const { return m_payload; }
    /// The server's correlation value, never interpreted.
    const std::optional<JsonValue>& requestId() const { return m_requestId; }

    /// The envelope as compact JSON text, whose long texts are those of the values; what cannot be
    /// written ends the process.
    std::optional<TextPieces> getBody() const;

private:
    std::string m_command;
    std::optional<JsonValue> m_payload;
    std::optional<JsonValue> m_requestId;
};
