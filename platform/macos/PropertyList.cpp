// SPDX-License-Identifier: MIT
#include "platform/macos/PropertyList.h"

#include "platform/macos/MacPlatform.h"
#include "platform/shared/PreferencePolicy.h"

#include <Security/Security.h>
#include <vector>

namespace platform {

std::string textOf(CFStringRef string) {
    const CFRange all{0, CFStringGetLength(string)};
    CFIndex size = 0;
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string text(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false,
        reinterpret_cast<UInt8*>(text.data()), size, nullptr);
    return text;
}

std::string descriptionOf(CFTypeRef object) {
    const Owned<CFStringRef> description(CFCopyDescription(object));
    return description ? textOf(description.get()) : std::string();
}

Bytes bytesOfData(CFDataRef data) {
    const UInt8* const bytes = CFDataGetBytePtr(data);
    return {bytes, bytes + CFDataGetLength(data)};
}

PropertyArray arrayOf(CFArrayRef array) {
    PropertyArray values;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        values.push_back(propertyValueOf(CFArrayGetValueAtIndex(array, i)));
    }
    return values;
}

PropertyDictionary dictionaryOf(CFDictionaryRef dictionary) {
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    PropertyDictionary entries;
    for (std::size_t i = 0; i < count; ++i) {
        if (CFGetTypeID(keys[i]) == CFStringGetTypeID()) {
            entries.set(textOf(static_cast<CFStringRef>(keys[i])), propertyValueOf(values[i]));
        }
    }
    return entries;
}

PropertyValue propertyValueOf(CFTypeRef value) {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) {
        return textOf(static_cast<CFStringRef>(value));
    }
    if (type == CFDataGetTypeID()) {
        return bytesOfData(static_cast<CFDataRef>(value));
    }
    if (type == CFArrayGetTypeID()) {
        return arrayOf(static_cast<CFArrayRef>(value));
    }
    if (type == CFDictionaryGetTypeID()) {
        return dictionaryOf(static_cast<CFDictionaryRef>(value));
    }
    if (type == CFBooleanGetTypeID()) {
        return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
    }
    if (type == CFNumberGetTypeID()) {
        std::int64_t number = 0;
        if (CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) {
            return number;
        }
    }
    if (type == SecIdentityGetTypeID()) {
        using Identity = KeychainObject<SecIdentity, ::SecIdentityRef>;
        Owned<::SecIdentityRef> identity(
            static_cast<::SecIdentityRef>(const_cast<void*>(CFRetain(value))));
        return SecIdentityRef(std::make_shared<Identity>(std::move(identity)));
    }
    return descriptionOf(value);
}

ManagedPolicy managedPreferences(const std::string& applicationIdentifier) {
    const auto stringOf = [](const std::string& text) {
        return Owned<CFStringRef>(
            CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    };
    const auto application = stringOf(applicationIdentifier);
    const auto preference = [&](const std::string& name) -> std::optional<Preference> {
        const auto key = stringOf(name);
        const Owned<CFPropertyListRef> value(
            CFPreferencesCopyAppValue(key.get(), application.get()));
        if (!value) {
            return std::nullopt;
        }
        return Preference{propertyValueOf(value.get()),
            CFPreferencesAppValueIsForced(key.get(), application.get()) != 0};
    };
    return policyOfPreferences("managed preferences of " + applicationIdentifier, preference);
}

} // namespace platform
