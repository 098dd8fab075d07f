// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"

#include <atomic>

namespace platform {

class LinuxSystem : public System {
public:
    /// Takes the arguments over, and what they tell of a link out of the command line, which every
    /// user of the computer can read.
    LinuxSystem(int argc, char** argv);
    LinuxSystem(const LinuxSystem&) = delete;
    LinuxSystem& operator=(const LinuxSystem&) = delete;
    ~LinuxSystem() override;

    /// While standard error is no file of `reopenStandardError`, it may be a terminal or a journal,
    /// and no control characters go there.
    void NSLog(LogText text) override;
    void print(std::string_view line) override;
    /// Where `path` cannot be had, a file of the same name in the user's state folder takes its
    /// place.
    bool reopenStandardError(const std::string& path, const std::string& mode) override;
    std::optional<std::string> bundleIdentifier() override;
    std::optional<PropertyValue> objectForInfoDictionaryKey(const std::string& key) override;
    std::vector<std::string> arguments() override;
    NSOperatingSystemVersion operatingSystemVersion() override;
    /// Whoever asked for it by `install` is told of a failure, in the log and on the standard error
    /// of the start.
    std::int32_t LSSetDefaultHandlerForURLScheme(
        const std::string& scheme, const std::string& bundleIdentifier) override;
    std::array<std::uint8_t, 20> CC_SHA1(BytesView data) override;
    std::array<std::uint8_t, 32> CC_SHA256(BytesView data) override;

private:
    bool isInstall() const;
    void tellOfRegistration(const std::string& line);

    std::vector<std::string> m_arguments;
    std::atomic<bool> m_hasLogFile = false;
    int m_firstError = -1; // standard error before it became the log, kept for `install`
};

/// Writes all of `text` to a file descriptor, whatever interrupts it.
void writeAll(int descriptor, std::string_view text);

/// The version in a kernel release such as "6.1.0-13-amd64"; missing numbers are 0.
NSOperatingSystemVersion versionOfKernelRelease(std::string_view release);

} // namespace platform
