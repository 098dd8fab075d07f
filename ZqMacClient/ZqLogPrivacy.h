// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/DebugDescription.h"

#include <string>
#include <string_view>

/// How documents, signatures, payloads and a server's texts appear in log lines: as they are, or,
/// where an administrator wants the log redacted, as their size and SHA-256.
class ZqLogPrivacy {
public:
    static void setRedacted(bool isRedacted);

    /// A line of a label and a whole text, not quoted.
    static void log(std::string_view label, const JudgedText& text);
    static LogLine& addText(LogLine& line, const JsonText& text);
    /// In redacted lines the names of members remain, and of their values those without content.
    static LogLine& addPayload(LogLine& line, const std::optional<JsonValue>& payload);
    /// The same without "Optional(...)".
    static LogLine& addValue(LogLine& line, const JsonValue& value);
    /// A text in quotes, or nil for any other value.
    static LogLine& addOptionalText(LogLine& line, const JsonValue& value);

    /// A text that a server chose.
    static std::string text(std::string_view text);
    /// A name that a server chose, of a command or an algorithm: in redacted lines what is short
    /// and has only the letters of names remains.
    static std::string name(std::string_view name);

    /// "<5 bytes, SHA-256 2cf2...>"
    static std::string summary(std::string_view text);
};
