// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/StreamSystem.h"

#include <CommonCrypto/CommonDigest.h>
#import <CoreServices/CoreServices.h>

namespace platform {

namespace {

class MacSystem final : public StreamSystem {
public:
    explicit MacSystem(std::vector<std::string> arguments)
        : StreamSystem(std::move(arguments), "Library/Logs") { }

    /// The platform's log call adds its prefix, and writes to the system's log as well.
    void NSLog(LogText text) override {
        @autoreleasepool {
            ::NSLog(@"%@", stringOfText(textToLog(text)));
        }
    }

    std::optional<std::string> bundleIdentifier() override {
        return optionalTextOf([NSBundle mainBundle].bundleIdentifier);
    }

    std::optional<PropertyValue> objectForInfoDictionaryKey(const std::string& key) override {
        const id value = [[NSBundle mainBundle] objectForInfoDictionaryKey:stringOfText(key)];
        return value == nil ? std::nullopt
                            : std::optional(propertyValueOf((__bridge CFTypeRef)value));
    }

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
};

} // namespace

std::unique_ptr<System> makeMacSystem(std::vector<std::string> arguments) {
    return std::make_unique<MacSystem>(std::move(arguments));
}

} // namespace platform
