// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryObjects.h"

#include <atomic>
#include <cstdlib>

namespace memory {

namespace {

std::atomic<long> objectCount = 0;

/// An object that has nothing but a description.
class Described final : public Object {
public:
    Described(CFTypeID describedType, std::u16string_view text, CFIndex number = 0)
        : Object(describedType)
        , code(number)
        , m_text(text) { }
    std::string description() const override { return m_text.description(); }

    const CFIndex code; // of an error

private:
    const String m_text;
};

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

} // namespace

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

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

Object* asConstant(Object* object) {
    object->references = constantReferences;
    --objectCount;
    return object;
}

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

CFErrorRef makeError(std::u16string_view description, CFIndex code) {
    static const CFTypeID id = newTypeID();
    return referenceTo<CFErrorRef>(new Described(id, description, code));
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

CFIndex CFErrorGetCode(CFErrorRef err) {
    return dynamic_cast<const memory::Described&>(*memory::objectOf(err)).code;
}
