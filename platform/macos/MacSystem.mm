// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/LogFile.h"
#include "platform/shared/TerminalText.h"

#include <CommonCrypto/CommonDigest.h>
#import <CoreServices/CoreServices.h>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace platform {

namespace {

class MacSystem final : public System {
public:
    explicit MacSystem(std::vector<std::string> arguments)
        : m_arguments(std::move(arguments)) { }

private:
    /// The platform's log call adds its prefix, and writes to the system's log as well.
    void NSLog(LogText text) override {
        const std::string line = logLine(text);
        @autoreleasepool {
            ::NSLog(@"%@", stringOfText(m_hasLogFile ? line : displayableLine(line)));
        }
    }

    void print(std::string_view text) override {
        const std::string line = displayableLine(text);
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }

    bool reopenStandardError(const std::string& path, const std::string& mode) override {
        const bool isReopened = reopened(path, mode) || reopened(inUsersLogs(path), mode);
        m_hasLogFile = m_hasLogFile || isReopened;
        return isReopened;
    }

    std::optional<std::string> bundleIdentifier() override {
        return optionalTextOf([NSBundle mainBundle].bundleIdentifier);
    }

    std::optional<PropertyValue> objectForInfoDictionaryKey(const std::string& key) override {
        const id value = [[NSBundle mainBundle] objectForInfoDictionaryKey:stringOfText(key)];
        return value == nil ? std::nullopt
                            : std::optional(propertyValueOf((__bridge CFTypeRef)value));
    }

    std::vector<std::string> arguments() override { return m_arguments; }

    NSOperatingSystemVersion operatingSystemVersion() override {
        const auto version = [NSProcessInfo processInfo].operatingSystemVersion;
        return {version.majorVersion, version.minorVersion, version.patchVersion};
    }

    std::int32_t LSSetDefaultHandlerForURLScheme(
        const std::string& scheme, const std::string& bundleIdentifier) override {
// Its successor asks the user.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
        return ::LSSetDefaultHandlerForURLScheme((__bridge CFStringRef)stringOfText(scheme),
            (__bridge CFStringRef)stringOfText(bundleIdentifier));
#pragma clang diagnostic pop
    }

    std::array<std::uint8_t, 20> CC_SHA1(BytesView data) override {
        std::array<std::uint8_t, CC_SHA1_DIGEST_LENGTH> digest{};
        ::CC_SHA1(data.data(), static_cast<CC_LONG>(data.size()), digest.data());
        return digest;
    }

    std::array<std::uint8_t, 32> CC_SHA256(BytesView data) override {
        std::array<std::uint8_t, CC_SHA256_DIGEST_LENGTH> digest{};
        ::CC_SHA256(data.data(), static_cast<CC_LONG>(data.size()), digest.data());
        return digest;
    }

private:
    static bool reopened(const std::string& path, const std::string& mode) {
        return mode == "a+" && redirectToOwnLogFile(STDERR_FILENO, path);
    }

    /// Where the log goes that cannot be had in its usual place.
    static std::string inUsersLogs(const std::string& path) {
        const char* home = std::getenv("HOME");
        return (home == nullptr ? std::string() : home + std::string("/Library/Logs"))
            + path.substr(path.rfind('/'));
    }

    const std::vector<std::string> m_arguments;
    bool m_hasLogFile = false;
};

} // namespace

std::unique_ptr<System> makeMacSystem(std::vector<std::string> arguments) {
    return std::make_unique<MacSystem>(std::move(arguments));
}

} // namespace platform
