// SPDX-License-Identifier: MIT
#include "foundation/JsonValue.h"

#include "foundation/JsonEscapes.h"
#include "foundation/Utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace {

template <typename T>
JsonNumber numberOf(T value) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return {std::string(text.data(), result.ptr), std::isfinite(static_cast<double>(value))};
}

} // namespace

JsonText::JsonText(std::string text)
    : m_text(isUtf8(text) ? std::move(text) : utf8Repaired(text)) {
    m_contents = jsonPlainPrefixLength(view()) == view().size() ? Contents::plain
        : view().find('\0') == std::string_view::npos           ? Contents::withEscapes
                                                                : Contents::withNul;
}

std::optional<CleanText> JsonText::clean() const {
    return m_contents == Contents::withNul ? std::nullopt : std::optional(CleanText(view()));
}

JsonText JsonText::escaped() const {
    std::string text;
    appendJsonEscaped(text, view());
    return {std::move(text), Contents::withEscapes};
}

JsonObject::JsonObject(std::initializer_list<Member> members)
    : m_members(members) {
}

const JsonValue* JsonObject::find(std::string_view name) const {
    const auto found = std::find_if(m_members.rbegin(), m_members.rend(),
        [&](const Member& member) { return member.first == name; });
    return found == m_members.rend() ? nullptr : &found->second;
}

void JsonObject::add(JsonText name, JsonValue value) {
    m_members.emplace_back(std::move(name), std::move(value));
}

std::optional<JsonValue> JsonObject::take(std::string_view name) {
    const auto found = std::find_if(m_members.rbegin(), m_members.rend(),
        [&](const Member& member) { return member.first == name; });
    if (found == m_members.rend()) {
        return std::nullopt;
    }
    return std::move(found->second);
}

JsonValue::JsonValue(int value)
    : m_value(numberOf(value)) {
}

JsonValue::JsonValue(std::int64_t value)
    : m_value(numberOf(value)) {
}

JsonValue::JsonValue(std::uint64_t value)
    : m_value(numberOf(value)) {
}

JsonValue::JsonValue(double value)
    : m_value(numberOf(value)) {
}
