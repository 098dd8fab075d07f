// SPDX-License-Identifier: MIT
#include "platform/macos/ManagedPreferences.h"

#include "foundation/JsonWriter.h"
#include "platform/macos/PropertyList.h"

#include <CoreFoundation/CoreFoundation.h>
#include <utility>

namespace platform {

namespace {

constexpr const char* policyKeys[]
    = {"version", "servers", "consent", "content", "downloads", "idleMinutes", "log"};

Owned<CFStringRef> stringOf(const std::string& text) {
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
            static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

/// Texts, lists, truth values and whole numbers as they are; anything else, which no policy holds,
/// by its description.
JsonValue jsonOf(CFTypeRef value) {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(value);
        JsonArray elements;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            elements.push_back(jsonOf(CFArrayGetValueAtIndex(array, i)));
        }
        return elements;
    }
    if (type == CFNumberGetTypeID()) {
        std::int64_t number = 0;
        const bool isWhole
            = CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
        return isWhole ? JsonValue(number) : JsonValue(descriptionOf(value));
    }
    const PropertyValue property = propertyValueOf(value);
    if (const auto* text = property.as<std::string>()) {
        return *text;
    }
    if (const auto* truth = property.as<bool>()) {
        return *truth;
    }
    return property.description();
}

} // namespace

ManagedPolicy managedPreferences(const std::string& applicationIdentifier) {
    ManagedPolicy policy{.source = "managed preferences of " + applicationIdentifier};
    const auto application = stringOf(applicationIdentifier);
    JsonObject rules;
    for (const char* const name : policyKeys) {
        const auto key = stringOf(name);
        const Owned<CFPropertyListRef> value(
            CFPreferencesCopyAppValue(key.get(), application.get()));
        if (!value) {
            continue;
        }
        if (CFPreferencesAppValueIsForced(key.get(), application.get())) {
            rules.add(name, jsonOf(value.get()));
        } else {
            policy.remarks.push_back('"' + std::string(name)
                + "\" is ignored, for it is set but not forced by an administrator");
        }
    }
    if (!rules.members().empty()) {
        policy.state = ManagedPolicy::State::present;
        policy.text = writeJson(std::move(rules)).text.value_or(std::string());
    }
    return policy;
}

} // namespace platform
