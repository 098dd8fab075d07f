// SPDX-License-Identifier: MIT
#include "platform/Types.h"

#include <algorithm>

namespace platform {

namespace {

std::string describe(bool value) {
    return value ? "true" : "false";
}

std::string describe(std::int64_t value) {
    return std::to_string(value);
}

std::string describe(const std::string& text) {
    return '"' + text + '"';
}

std::string describe(const Bytes& bytes) {
    return std::to_string(bytes.size()) + " bytes";
}

std::string describe(const PropertyArray& array) {
    return description(array);
}

std::string describe(const PropertyDictionary& dictionary) {
    std::string text = "{";
    for (const auto& [key, value] : dictionary.entries()) {
        text += text.size() > 1 ? "; " : "";
        text += key + " = " + value.description();
    }
    return text + "}";
}

template <typename Ref>
std::string describe(const Ref& object) {
    return object ? object->description() : "null";
}

} // namespace

PropertyDictionary::PropertyDictionary(std::initializer_list<Entry> entries) {
    for (const Entry& entry : entries) {
        set(entry.first, entry.second);
    }
}

const PropertyValue* PropertyDictionary::find(std::string_view key) const {
    const auto found = std::find_if(
        m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return entry.first == key; });
    return found == m_entries.end() ? nullptr : &found->second;
}

void PropertyDictionary::set(std::string key, PropertyValue value) {
    const auto found = std::find_if(
        m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return entry.first == key; });
    if (found == m_entries.end()) {
        m_entries.emplace_back(std::move(key), std::move(value));
    } else {
        found->second = std::move(value);
    }
}

std::string PropertyValue::description() const {
    return std::visit([](const auto& value) { return describe(value); }, m_value);
}

std::string description(const PropertyArray& array) {
    std::string text = "(";
    for (const PropertyValue& value : array) {
        text += text.size() > 1 ? ", " : "";
        text += value.description();
    }
    return text + ")";
}

} // namespace platform
