// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"

namespace platform {

class LinuxSystem : public System {
public:
    LinuxSystem(int argc, char** argv);

    void NSLog(LogText text) override;
    void print(std::string_view line) override;
    bool reopenStandardError(const std::string& path, const std::string& mode) override;
    std::optional<std::string> bundleIdentifier() override;
    std::optional<PropertyValue> objectForInfoDictionaryKey(const std::string& key) override;
    std::vector<std::string> arguments() override;
    NSOperatingSystemVersion operatingSystemVersion() override;
    std::int32_t LSSetDefaultHandlerForURLScheme(
        const std::string& scheme, const std::string& bundleIdentifier) override;
    std::array<std::uint8_t, 20> CC_SHA1(BytesView data) override;
    std::array<std::uint8_t, 32> CC_SHA256(BytesView data) override;

private:
    std::vector<std::string> m_arguments;
};

/// Writes all of `text` to a file descriptor, whatever interrupts it.
void writeAll(int descriptor, std::string_view text);

/// The version in a kernel release such as "6.1.0-13-amd64"; missing numbers are 0.
NSOperatingSystemVersion versionOfKernelRelease(std::string_view release);

} // namespace platform
