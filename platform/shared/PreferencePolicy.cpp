// SPDX-License-Identifier: MIT
#include "platform/shared/PreferencePolicy.h"

#include "foundation/JsonWriter.h"

#include <utility>

namespace platform {

namespace {

constexpr const char* policyKeys[]
    = {"version", "servers", "consent", "content", "downloads", "idleMinutes", "log"};

JsonValue jsonOf(const PropertyValue& value) {
    if (const auto* array = value.as<PropertyArray>()) {
        JsonArray elements;
        for (const PropertyValue& element : *array) {
            elements.push_back(jsonOf(element));
        }
        return elements;
    }
    if (const auto* text = value.as<std::string>()) {
        return *text;
    }
    if (const auto* number = value.as<std::int64_t>()) {
        return *number;
    }
    if (const auto* truth = value.as<bool>()) {
        return *truth;
    }
    return value.description();
}

} // namespace

ManagedPolicy policyOfPreferences(std::string source,
    const std::function<std::optional<Preference>(const std::string& key)>& preference) {
    ManagedPolicy policy{.source = std::move(source)};
    JsonObject rules;
    for (const char* const key : policyKeys) {
        const auto found = preference(key);
        if (found && found->isForced) {
            rules.add(key, jsonOf(found->value));
        } else if (found) {
            policy.remarks.push_back('"' + std::string(key)
                + "\" is ignored, for it is set but not forced by an administrator");
        }
    }
    if (!rules.members().empty()) {
        policy.state = ManagedPolicy::State::present;
        policy.text = writeJson(std::move(rules)).text.value_or(std::string());
    }
    return policy;
}

} // namespace platform
