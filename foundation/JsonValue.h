// SPDX-License-Identifier: MIT
// JSON values that keep every number exactly as it was written (RFC 8259).
#pragma once

#include "foundation/CleanText.h"
#include "foundation/SharedText.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

class JsonValue;

/// Well-formed UTF-8, with the knowledge what JSON text needs to be done to it.
class JsonText {
public:
    /// What of `text` is not UTF-8 becomes U+FFFD.
    JsonText(std::string text);
    JsonText(const char* text)
        : JsonText(std::string(text)) { }

    std::string_view view() const { return m_text.view(); }
    std::size_t size() const { return m_text.size(); }
    const SharedText& shared() const { return m_text; }
    /// Whether JSON text takes it as it stands.
    bool isPlain() const { return m_contents == Contents::plain; }
    /// All of it, unless there is a NUL in it.
    std::optional<CleanText> clean() const;
    /// The text with all that JSON text cannot hold escaped.
    JsonText escaped() const;

    friend bool operator==(const JsonText& a, std::string_view b) { return a.view() == b; }

private:
    friend class JsonReader;

    enum class Contents : std::uint8_t { plain, withEscapes, withNul };

    JsonText(SharedText text, Contents contents)
        : m_text(std::move(text))
        , m_contents(contents) { }

    SharedText m_text;
    Contents m_contents;
};

/// The text of a number. A value that the server wants back must not pass through a type that
/// rounds it: 18446744073709551615 and 0.1 come back digit for digit.
struct JsonNumber {
    SharedText literal;
    bool isFinite = true; // JSON has no text for what is not
};

using JsonArray = std::vector<JsonValue>;

/// Members in the order in which they were added. Of repeated names the last counts.
class JsonObject {
public:
    using Member = std::pair<JsonText, JsonValue>;

    JsonObject() = default;
    JsonObject(std::initializer_list<Member> members);

    /// The value under `name`, or null. Valid until the object changes.
    const JsonValue* find(std::string_view name) const;
    void add(JsonText name, JsonValue value);
    /// Moves the value under `name` out; nothing when there is none.
    std::optional<JsonValue> take(std::string_view name);
    const std::vector<Member>& members() const { return m_members; }

private:
    std::vector<Member> m_members;
};

class JsonValue {
public:
    using Variant = std::variant<std::nullptr_t, bool, JsonNumber, JsonText, JsonArray, JsonObject>;

    JsonValue(std::nullptr_t)
        : m_value(nullptr) { }
    JsonValue(bool value)
        : m_value(value) { }
    JsonValue(int value);
    JsonValue(std::int64_t value);
    JsonValue(std::uint64_t value);
    /// A number that is not finite cannot be written.
    JsonValue(double value);
    JsonValue(const char* text)
        : m_value(JsonText(text)) { }
    JsonValue(std::string text)
        : m_value(JsonText(std::move(text))) { }
    JsonValue(JsonText text)
        : m_value(std::move(text)) { }
    JsonValue(JsonNumber number)
        : m_value(std::move(number)) { }
    JsonValue(JsonArray array)
        : m_value(std::move(array)) { }
    JsonValue(JsonObject object)
        : m_value(std::move(object)) { }

    /// The value as a `T`, or null when it is of another kind.
    template <typename T>
    const T* as() const {
        return std::get_if<T>(&m_value);
    }
    template <typename T>
    T* as() {
        return std::get_if<T>(&m_value);
    }
    bool isNull() const { return as<std::nullptr_t>() != nullptr; }
    const Variant& variant() const { return m_value; }

private:
    Variant m_value;
};
