// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryCoreFoundation.h"

#include "tests/macos/MemoryObjects.h"

#include <cstdlib>
#include <cstring>

struct CFDictionaryKeyCallBacks { };
struct CFDictionaryValueCallBacks { };

using namespace memory; // NOLINT: the platform's functions stand outside

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = referenceTo<CFBooleanRef>(asConstant(new Boolean_(true)));
const CFBooleanRef kCFBooleanFalse = referenceTo<CFBooleanRef>(asConstant(new Boolean_(false)));
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};

CFTypeRef CFRetain(CFTypeRef object) {
    if (objectOf(object)->references != constantReferences) {
        ++objectOf(object)->references;
    }
    return object;
}

void CFRelease(CFTypeRef object) {
    if (objectOf(object)->references != constantReferences && --objectOf(object)->references == 0) {
        delete objectOf(object);
    }
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return objectOf(object)->type;
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    const std::string text = objectOf(object)->description(); // plain ASCII but for texts
    return makeString(std::u16string(text.begin(), text.end()));
}

CFTypeID CFStringGetTypeID() {
    return String::typeID();
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(as<String>(string).utf16.size());
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
    UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufferLength,
    CFIndex* usedBufferLength) {
    require(encoding == kCFStringEncodingUTF8 && isExternalRepresentation == 0);
    require(range.location >= 0 && range.location + range.length <= CFStringGetLength(string));
    const std::u16string_view text = std::u16string_view(as<String>(string).utf16)
                                         .substr(static_cast<std::size_t>(range.location),
                                             static_cast<std::size_t>(range.length));
    CFIndex used = 0;
    std::size_t converted = 0;
    while (converted < text.size()) {
        std::size_t next = converted;
        const std::optional<std::uint32_t> codePoint = nextCodePoint(text, next);
        if (!codePoint && lossByte == 0) {
            break;
        }
        const std::string bytes
            = codePoint ? utf8Of(*codePoint) : std::string(1, static_cast<char>(lossByte));
        const auto size = static_cast<CFIndex>(bytes.size());
        if (buffer != nullptr) {
            if (used + size > maxBufferLength) {
                break;
            }
            std::memcpy(buffer + used, bytes.data(), bytes.size());
        }
        used += size;
        converted = next;
    }
    if (usedBufferLength != nullptr) {
        *usedBufferLength = used;
    }
    return static_cast<CFIndex>(converted);
}

CFTypeID CFDataGetTypeID() {
    return Data::typeID();
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
    require(length >= 0 && (bytes != nullptr || length == 0));
    return makeData({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)});
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(as<Data>(data).bytes.size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    return as<Data>(data).bytes.data();
}

CFTypeID CFArrayGetTypeID() {
    return Array::typeID();
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    return static_cast<CFIndex>(as<Array>(array).values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    require(index >= 0 && index < CFArrayGetCount(array));
    return as<Array>(array).values[static_cast<std::size_t>(index)];
}

CFTypeID CFDictionaryGetTypeID() {
    return Dictionary::typeID();
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
    CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks) {
    // Without these call-backs the platform neither retains nor compares what is in it.
    require(keyCallBacks == &kCFTypeDictionaryKeyCallBacks);
    require(valueCallBacks == &kCFTypeDictionaryValueCallBacks);
    std::vector<std::pair<CFTypeRef, CFTypeRef>> entries;
    for (CFIndex i = 0; i < count; ++i) {
        entries.emplace_back(CFRetain(keys[i]), CFRetain(values[i]));
    }
    return makeDictionary(std::move(entries));
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    return static_cast<CFIndex>(entriesOf(dictionary).size());
}

void CFDictionaryGetKeysAndValues(
    CFDictionaryRef dictionary, const void** keys, const void** values) {
    for (const auto& [key, value] : entriesOf(dictionary)) {
        *keys++ = key;
        *values++ = value;
    }
}

CFTypeID CFBooleanGetTypeID() {
    return Boolean_::typeID();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    return as<Boolean_>(boolean).value;
}

CFTypeID CFNumberGetTypeID() {
    return Number::typeID();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    require(type == kCFNumberSInt64Type);
    const double given = as<Number>(number).value;
    const auto integer = static_cast<std::int64_t>(given);
    std::memcpy(value, &integer, sizeof integer);
    return static_cast<double>(integer) == given;
}
