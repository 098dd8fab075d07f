// SPDX-License-Identifier: MIT
// Property lists as the platform interfaces pass them.
#pragma once

#include "foundation/Bytes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

/// Four characters packed into 32 bits, first character highest ('GURL' is 0x4755524C).
using FourCharCode = std::uint32_t;

constexpr FourCharCode fourCharCode(const char (&code)[5]) {
    FourCharCode packed = 0;
    for (int i = 0; i < 4; ++i) {
        packed = (packed << 8) | static_cast<std::uint8_t>(code[i]);
    }
    return packed;
}

/// An opaque object of the keychain: a certificate, a private key or an identity (both together).
class SecObject {
public:
    SecObject() = default;
    SecObject(const SecObject&) = delete;
    SecObject& operator=(const SecObject&) = delete;
    virtual ~SecObject() = default;

    /// A readable rendering for log lines; never secret material.
    virtual std::string description() const = 0;
};

class SecCertificate : public SecObject { };
class SecKey : public SecObject { };
class SecIdentity : public SecObject { };

using SecCertificateRef = std::shared_ptr<const SecCertificate>;
using SecKeyRef = std::shared_ptr<const SecKey>;
using SecIdentityRef = std::shared_ptr<const SecIdentity>;

class PropertyValue;
using PropertyArray = std::vector<PropertyValue>;

/// Text keys with values, in the order in which they were set; a key occurs once.
class PropertyDictionary {
public:
    using Entry = std::pair<std::string, PropertyValue>;

    PropertyDictionary() = default;
    PropertyDictionary(std::initializer_list<Entry> entries);

    /// The value under `key`, or null. Valid until the dictionary changes.
    const PropertyValue* find(std::string_view key) const;
    void set(std::string key, PropertyValue value);
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    std::vector<Entry> m_entries;
};

template <typename T, typename V>
inline constexpr bool isAlternativeOf = false;
template <typename T, typename... Ts>
inline constexpr bool isAlternativeOf<T, std::variant<Ts...>> = (std::is_same_v<T, Ts> || ...);

/// One value of a property list. Text is well-formed UTF-8.
class PropertyValue {
public:
    using Variant = std::variant<bool, std::int64_t, std::string, Bytes, PropertyArray,
        PropertyDictionary, SecCertificateRef, SecKeyRef, SecIdentityRef>;

    PropertyValue(const char* text)
        : m_value(std::string(text)) { }
    PropertyValue(int number)
        : m_value(static_cast<std::int64_t>(number)) { }
    template <typename T,
        typename = std::enable_if_t<isAlternativeOf<std::remove_cvref_t<T>, Variant>>>
    PropertyValue(T&& value)
        : m_value(std::in_place_type<std::remove_cvref_t<T>>, std::forward<T>(value)) { }

    /// The value as a `T`, or null when it is of another type.
    template <typename T>
    const T* as() const {
        return std::get_if<T>(&m_value);
    }

    /// A readable rendering for log and error texts: byte buffers by length, objects by
    /// description.
    std::string description() const;

private:
    Variant m_value;
};

std::string description(const PropertyArray& array);

} // namespace platform
