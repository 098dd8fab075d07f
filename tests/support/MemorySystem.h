// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"
#include "tests/support/Trace.h"

#include <map>

class MemorySystem : public platform::System {
public:
    explicit MemorySystem(Trace& trace)
        : m_trace(trace) { }

    void NSLog(platform::LogText text) override;
    void print(std::string_view line) override;
    bool reopenStandardError(const std::string& path, const std::string& mode) override;
    std::optional<std::string> bundleIdentifier() override { return identifier; }
    std::optional<platform::PropertyValue> objectForInfoDictionaryKey(
        const std::string& key) override;
    std::vector<std::string> arguments() override { return processArguments; }
    platform::NSOperatingSystemVersion operatingSystemVersion() override { return version; }
    std::int32_t LSSetDefaultHandlerForURLScheme(
        const std::string& scheme, const std::string& bundleIdentifier) override;
    std::array<std::uint8_t, 20> CC_SHA1(BytesView data) override;
    std::array<std::uint8_t, 32> CC_SHA256(BytesView data) override;

    std::optional<std::string> identifier = "com.quillet.ZqMacClient";
    std::map<std::string, platform::PropertyValue> info{{"CFBundleShortVersionString", "1.9"}};
    std::vector<std::string> processArguments{"/opt/ZqMacClient"};
    platform::NSOperatingSystemVersion version{13, 6, 0};
    bool canReopen = true;

private:
    Trace& m_trace;
};
