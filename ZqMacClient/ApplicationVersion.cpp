// SPDX-License-Identifier: MIT
#include "ZqMacClient/ApplicationVersion.h"

#include "platform/Platform.h"

std::optional<std::string> applicationVersion() {
    const auto version
        = platform::current().system().objectForInfoDictionaryKey("CFBundleShortVersionString");
    const auto* text = version ? version->as<std::string>() : nullptr;
    return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
}

std::string systemVersionText() {
    const auto version = platform::current().system().operatingSystemVersion();
    return std::to_string(version.majorVersion) + "." + std::to_string(version.minorVersion) + "."
        + std::to_string(version.patchVersion);
}
