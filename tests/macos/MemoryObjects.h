// SPDX-License-Identifier: MIT
// The kinds of objects of Core Foundation in memory. For its own .cpp files.
#pragma once

#include "tests/macos/MemoryCoreFoundation.h"

#include <cstdint>
#include <optional>

namespace memory {

inline constexpr long constantReferences = -1;

/// The platform crashes or goes on with garbage.
void require(bool condition);

template <typename Self>
class Typed : public Object {
public:
    static CFTypeID typeID() {
        static const CFTypeID id = newTypeID();
        return id;
    }

protected:
    Typed()
        : Object(typeID()) { }
};

class String final : public Typed<String> {
public:
    explicit String(std::u16string_view text)
        : utf16(text) { }
    std::string description() const override;
    const std::u16string utf16;
};

class Data final : public Typed<Data> {
public:
    explicit Data(std::string_view content)
        : bytes(content.begin(), content.end()) { }
    std::string description() const override { return "data"; }
    const std::vector<UInt8> bytes;
};

class Array final : public Typed<Array> {
public:
    explicit Array(std::vector<CFTypeRef> elements)
        : values(std::move(elements)) { }
    ~Array() override {
        for (const CFTypeRef value : values) {
            CFRelease(value);
        }
    }
    std::string description() const override { return "array"; }
    const std::vector<CFTypeRef> values;
};

class Dictionary final : public Typed<Dictionary> {
public:
    explicit Dictionary(std::vector<std::pair<CFTypeRef, CFTypeRef>> pairs)
        : entries(std::move(pairs)) { }
    ~Dictionary() override {
        for (const auto& [key, value] : entries) {
            CFRelease(key);
            CFRelease(value);
        }
    }
    std::string description() const override { return "dictionary"; }
    const std::vector<std::pair<CFTypeRef, CFTypeRef>> entries;
};

class Boolean_ final : public Typed<Boolean_> {
public:
    explicit Boolean_(bool isTrue)
        : value(isTrue) { }
    std::string description() const override { return value ? "true" : "false"; }
    const bool value;
};

class Number final : public Typed<Number> {
public:
    explicit Number(double number)
        : value(number) { }
    std::string description() const override { return "number"; }
    const double value;
};

template <typename Kind>
const Kind& as(CFTypeRef reference) {
    const auto* object = dynamic_cast<const Kind*>(objectOf(reference));
    require(object != nullptr);
    return *object;
}

template <typename Ref, typename Kind>
Ref referenceTo(Kind* object) {
    return reinterpret_cast<Ref>(static_cast<Object*>(object));
}

/// The code point at `position`, which moves on; nothing for an unpaired surrogate.
std::optional<std::uint32_t> nextCodePoint(std::u16string_view text, std::size_t& position);
std::string utf8Of(std::uint32_t codePoint);

/// The object as one of the platform's constants.
Object* asConstant(Object* object);

} // namespace memory
