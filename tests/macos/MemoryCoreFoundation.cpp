// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryCoreFoundation.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <optional>

struct CFDictionaryKeyCallBacks { };
struct CFDictionaryValueCallBacks { };

namespace memory {

namespace {

constexpr long constantReferences = -1;
std::atomic<long> objectCount = 0;

/// The platform crashes or goes on with garbage.
void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

class String final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit String(std::u16string_view text)
        : Object(typeID())
        , utf16(text) { }
    std::string description() const override;
    const std::u16string utf16;
};

class Data final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit Data(std::string_view content)
        : Object(typeID())
        , bytes(content.begin(), content.end()) { }
    std::string description() const override { return "data"; }
    const std::vector<UInt8> bytes;
};

class Array final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit Array(std::vector<CFTypeRef> elements)
        : Object(typeID())
        , values(std::move(elements)) { }
    ~Array() override {
        for (const CFTypeRef value : values) {
            CFRelease(value);
        }
    }
    std::string description() const override { return "array"; }
    const std::vector<CFTypeRef> values;
};

class Dictionary final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit Dictionary(std::vector<std::pair<CFTypeRef, CFTypeRef>> pairs)
        : Object(typeID())
        , entries(std::move(pairs)) { }
    ~Dictionary() override {
        for (const auto& [key, value] : entries) {
            CFRelease(key);
            CFRelease(value);
        }
    }
    std::string description() const override { return "dictionary"; }
    const std::vector<std::pair<CFTypeRef, CFTypeRef>> entries;
};

class Boolean_ final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit Boolean_(bool isTrue)
        : Object(typeID())
        , value(isTrue) { }
    std::string description() const override { return value ? "true" : "false"; }
    const bool value;
};

class Number final : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }
    explicit Number(double number)
        : Object(typeID())
        , value(number) { }
    std::string description() const override { return "number"; }
    const double value;
};

/// An object that has nothing but a description.
class Described final : public Object {
public:
    Described(CFTypeID describedType, std::u16string_view text)
        : Object(describedType)
        , m_text(text) { }
    std::string description() const override { return m_text.description(); }

private:
    const String m_text;
};

template <typename Kind>
const Kind& as(CFTypeRef reference) {
    const auto* object = dynamic_cast<const Kind*>(objectOf(reference));
    require(object != nullptr);
    return *object;
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

/// The code point at `position`, which moves on; nothing for an unpaired surrogate.
std::optional<std::uint32_t> nextCodePoint(std::u16string_view text, std::size_t& position) {
    const char16_t unit = text[position++];
    if (isHighSurrogate(unit) && position < text.size() && isLowSurrogate(text[position])) {
        const char16_t low = text[position++];
        return 0x10000 + ((static_cast<std::uint32_t>(unit) - 0xD800) << 10) + (low - 0xDC00U);
    }
    if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
        return std::nullopt;
    }
    return unit;
}

std::string utf8Of(std::uint32_t codePoint) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    if (codePoint < 0x80) {
        return {byte(codePoint)};
    }
    if (codePoint < 0x800) {
        return {byte(0xC0 | codePoint >> 6), byte(0x80 | (codePoint & 0x3F))};
    }
    if (codePoint < 0x10000) {
        return {byte(0xE0 | codePoint >> 12), byte(0x80 | (codePoint >> 6 & 0x3F)),
            byte(0x80 | (codePoint & 0x3F))};
    }
    return {byte(0xF0 | codePoint >> 18), byte(0x80 | (codePoint >> 12 & 0x3F)),
        byte(0x80 | (codePoint >> 6 & 0x3F)), byte(0x80 | (codePoint & 0x3F))};
}

std::string String::description() const {
    std::string text;
    for (std::size_t i = 0; i < utf16.size();) {
        text += utf8Of(nextCodePoint(utf16, i).value_or('?'));
    }
    return text;
}

template <typename Ref, typename Kind>
Ref referenceTo(Kind* object) {
    return reinterpret_cast<Ref>(static_cast<Object*>(object));
}

template <typename Kind>
Kind* asConstant(Kind* object) {
    object->references = constantReferences;
    --objectCount;
    return object;
}

} // namespace

Object::Object(CFTypeID objectType)
    : type(objectType) {
    ++objectCount;
}

Object::~Object() {
    --objectCount;
}

long liveObjects() {
    return objectCount;
}

CFTypeID newTypeID() {
    static std::atomic<CFTypeID> last = 0;
    return ++last;
}

Object* objectOf(CFTypeRef reference) {
    require(reference != nullptr);
    return static_cast<Object*>(const_cast<void*>(reference));
}

CFStringRef makeString(std::u16string_view utf16) {
    return referenceTo<CFStringRef>(new String(utf16));
}

CFDataRef makeData(std::string_view bytes) {
    return referenceTo<CFDataRef>(new Data(bytes));
}

CFNumberRef makeNumber(double value) {
    return referenceTo<CFNumberRef>(new Number(value));
}

CFErrorRef makeError(std::u16string_view description) {
    static const CFTypeID id = newTypeID();
    return referenceTo<CFErrorRef>(new Described(id, description));
}

CFTypeRef makeDate() {
    static const CFTypeID id = newTypeID();
    return referenceTo<CFTypeRef>(new Described(id, u"2026-01-01 00:00:00 +0000"));
}

CFArrayRef makeArray(std::vector<CFTypeRef> values) {
    return referenceTo<CFArrayRef>(new Array(std::move(values)));
}

CFDictionaryRef makeDictionary(std::vector<std::pair<CFTypeRef, CFTypeRef>> entries) {
    return referenceTo<CFDictionaryRef>(new Dictionary(std::move(entries)));
}

CFStringRef makeConstant(std::u16string_view text) {
    return referenceTo<CFStringRef>(asConstant(new String(text)));
}

const std::vector<std::pair<CFTypeRef, CFTypeRef>>& entriesOf(CFDictionaryRef dictionary) {
    return as<Dictionary>(dictionary).entries;
}

} // namespace memory

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
