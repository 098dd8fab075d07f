// SPDX-License-Identifier: MIT
// The system around the program: log, main bundle, arguments, versions, URL schemes, digests.
#pragma once

#include "foundation/CleanText.h"
#include "platform/Types.h"

#include <array>
#include <concepts>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A part of a log line. What is known to be clean is not looked at again.
class LogPiece {
public:
    LogPiece(CleanText text)
        : m_text(text.view())
        , m_isClean(true) { }
    template <typename Text>
    requires std::convertible_to<const Text&, std::string_view> LogPiece(const Text& text)
        : m_text(text) { }

    std::string_view view() const { return m_text; }
    /// Whether it is well-formed UTF-8 without NUL for certain.
    bool isClean() const { return m_isClean; }

private:
    std::string_view m_text;
    bool m_isClean = false;
};

/// A log line in pieces, so that a text of tens of megabytes is written without being copied.
using LogText = std::span<const LogPiece>;

struct NSOperatingSystemVersion {
    long majorVersion = 0;
    long minorVersion = 0;
    long patchVersion = 0;
};

class System {
public:
    virtual ~System() = default;

    /// Writes the pieces as one line with the platform's prefix to standard error, in one go.
    /// Ill-formed UTF-8 is written as U+FFFD. From any thread.
    virtual void NSLog(LogText text) = 0;

    /// Writes a line to standard output, outside the log.
    virtual void print(std::string_view line) = 0;

    /// Reopens standard error on `path` with a mode of `fopen`; false, and standard error as it
    /// was, when that cannot be done. A file that this creates is its user's alone.
    virtual bool reopenStandardError(const std::string& path, const std::string& mode) = 0;

    virtual std::optional<std::string> bundleIdentifier() = 0;
    /// The value under `key` in the main bundle's information dictionary.
    virtual std::optional<PropertyValue> objectForInfoDictionaryKey(const std::string& key) = 0;

    /// The process arguments, the program path first.
    virtual std::vector<std::string> arguments() = 0;
    virtual NSOperatingSystemVersion operatingSystemVersion() = 0;

    /// Makes the bundle the user's default handler of a URL scheme; 0, or a platform status.
    virtual std::int32_t LSSetDefaultHandlerForURLScheme(
        const std::string& scheme, const std::string& bundleIdentifier)
        = 0;

    virtual std::array<std::uint8_t, 20> CC_SHA1(BytesView data) = 0;
    virtual std::array<std::uint8_t, 32> CC_SHA256(BytesView data) = 0;
};

} // namespace platform
