// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPolicy.h"

#include "foundation/JsonReader.h"

#include <charconv>
#include <set>
#include <utility>

namespace {

constexpr unsigned mostIdleMinutes = 24 * 60;
constexpr std::pair<std::string_view, ZqConsentRule> consentRules[]{
    {"none", ZqConsentRule::none},
    {"session", ZqConsentRule::session},
    {"signature", ZqConsentRule::signature},
};
constexpr std::pair<std::string_view, ZqContentRule> contentRules[]{
    {"any", ZqContentRule::any},
    {"documents", ZqContentRule::documents},
};
constexpr std::pair<std::string_view, bool> logRules[]{{"full", false}, {"redacted", true}};

using Problem = std::optional<std::string>;

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

template <typename Rule, std::size_t count>
Problem chooseRule(
    const JsonValue& value, const std::pair<std::string_view, Rule> (&rules)[count], Rule& chosen) {
    const auto* text = value.as<JsonText>();
    std::string words;
    for (const auto& [word, rule] : rules) {
        if (text != nullptr && *text == word) {
            chosen = rule;
            return std::nullopt;
        }
        words += (words.empty() ? "" : ", ") + quoted(word);
    }
    return "is none of " + words;
}

template <typename Rule, std::size_t count>
std::string wordOf(Rule rule, const std::pair<std::string_view, Rule> (&rules)[count]) {
    for (const auto& [word, candidate] : rules) {
        if (candidate == rule) {
            return std::string(word);
        }
    }
    return {};
}

Problem readServers(const JsonValue& value, std::optional<ZqServerList>& list) {
    const auto* array = value.as<JsonArray>();
    if (array == nullptr) {
        return "is not a list";
    }
    list.emplace();
    for (const JsonValue& element : *array) {
        const auto* text = element.as<JsonText>();
        if (text == nullptr) {
            return "holds what is not text";
        }
        if (const Problem problem = list->add(std::string(text->view()))) {
            return "holds " + quoted(text->view()) + ": " + *problem;
        }
    }
    return std::nullopt;
}

/// A whole number written in digits alone.
std::optional<unsigned> wholeNumber(const JsonValue& value) {
    const auto* number = value.as<JsonNumber>();
    if (number == nullptr) {
        return std::nullopt;
    }
    unsigned result = 0;
    const std::string_view literal = number->literal.view();
    const char* const end = literal.data() + literal.size();
    const auto [parsed, error] = std::from_chars(literal.data(), end, result);
    return error == std::errc() && parsed == end ? std::optional(result) : std::nullopt;
}

std::string describe(const std::string& key, const ZqServerList& list) {
    std::string text;
    for (const std::string& entry : list.entries()) {
        text += (text.empty() ? "" : ", ") + entry;
    }
    return key + ": " + (text.empty() ? "(none)" : text);
}

} // namespace

ZqPolicy::Reading ZqPolicy::read(std::string_view text) {
    const JsonReadResult json = readJson(text);
    if (!json.value) {
        return {std::nullopt, json.errorDescription};
    }
    const auto* object = json.value->as<JsonObject>();
    if (object == nullptr) {
        return {std::nullopt, "The text is not a JSON object."};
    }
    const JsonValue* version = object->find("version");
    if (version == nullptr) {
        return {std::nullopt, "\"version\" is missing."};
    }
    if (wholeNumber(*version) != 1U) {
        return {std::nullopt, "\"version\" is not 1, the only one known."};
    }
    ZqPolicy policy;
    std::set<std::string_view> keys;
    for (const auto& [key, value] : object->members()) {
        Problem problem
            = keys.insert(key.view()).second ? std::nullopt : Problem("stands there twice");
        if (!problem) {
            problem = policy.add(std::string(key.view()), value);
        }
        if (problem) {
            return {std::nullopt, quoted(key.view()) + " " + *problem + "."};
        }
    }
    return {std::move(policy), {}};
}

std::optional<std::string> ZqPolicy::add(const std::string& key, const JsonValue& value) {
    if (key == "version") {
        return std::nullopt;
    }
    if (key == "servers") {
        return readServers(value, m_servers);
    }
    if (key == "downloads") {
        return readServers(value, m_downloads);
    }
    if (key == "consent") {
        return chooseRule(value, consentRules, m_consent);
    }
    if (key == "content") {
        return chooseRule(value, contentRules, m_content);
    }
    if (key == "log") {
        return chooseRule(value, logRules, m_redactsLog);
    }
    if (key == "idleMinutes") {
        m_idleMinutes = wholeNumber(value);
        return m_idleMinutes && *m_idleMinutes >= 1 && *m_idleMinutes <= mostIdleMinutes
            ? std::nullopt
            : Problem("is not a whole number from 1 to " + std::to_string(mostIdleMinutes));
    }
    return "is not a key of a signing policy";
}

std::vector<std::string> ZqPolicy::description() const {
    std::vector<std::string> rules;
    if (m_servers) {
        rules.push_back(describe("servers", *m_servers));
    }
    rules.push_back("consent: " + wordOf(m_consent, consentRules));
    rules.push_back("content: " + wordOf(m_content, contentRules));
    if (m_downloads) {
        rules.push_back(describe("downloads", *m_downloads));
    }
    if (m_idleMinutes) {
        rules.push_back("idleMinutes: " + std::to_string(*m_idleMinutes));
    }
    rules.push_back("log: " + wordOf(m_redactsLog, logRules));
    return rules;
}
