// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryPreferences.h"

#include "tests/macos/MemoryCoreFoundation.h"

#include <string_view>

namespace memory {

namespace {

const Preference* preferenceOf(CFStringRef key, CFStringRef application) {
    const auto found
        = preferences().find({objectOf(application)->description(), objectOf(key)->description()});
    return found == preferences().end() ? nullptr : &found->second;
}

} // namespace

std::map<std::pair<std::string, std::string>, Preference>& preferences() {
    static std::map<std::pair<std::string, std::string>, Preference> all;
    return all;
}

void clearPreferences() {
    for (const auto& [key, preference] : preferences()) {
        CFRelease(preference.value);
    }
    preferences().clear();
}

} // namespace memory

/// Plain ASCII alone.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes,
    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    if (encoding != kCFStringEncodingUTF8 || isExternalRepresentation != 0) {
        return nullptr;
    }
    return memory::makeString(std::u16string(bytes, bytes + numBytes));
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID) {
    const memory::Preference* const found = memory::preferenceOf(key, applicationID);
    return found == nullptr ? nullptr : CFRetain(found->value);
}

Boolean CFPreferencesAppValueIsForced(CFStringRef key, CFStringRef applicationID) {
    const memory::Preference* const found = memory::preferenceOf(key, applicationID);
    return found != nullptr && found->isForced;
}
