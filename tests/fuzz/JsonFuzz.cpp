// SPDX-License-Identifier: MIT
// The JSON reader and writer, compared with Boost's parser and the plainest of writers. Input: the
// text.
#include "foundation/JsonReader.h"
#include "foundation/JsonWriter.h"
#include "tests/fuzz/FuzzTarget.h"

#include <boost/json/basic_parser_impl.hpp>
#include <cstdio>

using fuzz::require;

namespace {

namespace json = boost::json;
using json::error_code;

void appendCharacter(std::string& out, char c) {
    const std::string_view letters = "\"\"\\\\\bb\ff\nn\rr\tt";
    for (std::size_t i = 0; i < letters.size(); i += 2) {
        if (letters[i] == c) {
            out += {'\\', letters[i + 1]};
            return;
        }
    }
    if (static_cast<unsigned char>(c) >= 0x20) {
        out += c;
        return;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
    out += escape;
}

/// Writes what the parser reads as compact text.
class Transcript {
public:
    static constexpr std::size_t max_object_size = std::size_t(-1);
    static constexpr std::size_t max_array_size = std::size_t(-1);
    static constexpr std::size_t max_key_size = std::size_t(-1);
    static constexpr std::size_t max_string_size = std::size_t(-1);

    std::string text;

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) { return begin('{'); }
    bool on_object_end(std::size_t, error_code&) { return add("}"); }
    bool on_array_begin(error_code&) { return begin('['); }
    bool on_array_end(std::size_t, error_code&) { return add("]"); }
    bool on_key_part(json::string_view part, std::size_t, error_code&) { return collect(part); }
    bool on_key(json::string_view part, std::size_t, error_code&) {
        collect(part);
        quote();
        text += ':';
        m_afterKey = true;
        return true;
    }
    bool on_string_part(json::string_view part, std::size_t, error_code&) { return collect(part); }
    bool on_string(json::string_view part, std::size_t, error_code&) {
        collect(part);
        quote();
        return true;
    }
    bool on_number_part(json::string_view part, error_code&) { return collect(part); }
    bool on_int64(std::int64_t, json::string_view part, error_code&) { return number(part); }
    bool on_uint64(std::uint64_t, json::string_view part, error_code&) { return number(part); }
    bool on_double(double, json::string_view part, error_code&) { return number(part); }
    bool on_bool(bool value, error_code&) { return word(value ? "true" : "false"); }
    bool on_null(error_code&) { return word("null"); }
    bool on_comment_part(json::string_view, error_code&) { return true; }
    bool on_comment(json::string_view, error_code&) { return true; }

private:
    void separate() {
        if (!text.empty() && !m_afterKey && m_hasElements) {
            text += ',';
        }
        m_afterKey = false;
        m_hasElements = true;
    }
    bool begin(char bracket) {
        separate();
        text += bracket;
        m_hasElements = false;
        return true;
    }
    bool add(std::string_view end) {
        text += end;
        m_hasElements = true;
        return true;
    }
    bool word(std::string_view value) {
        separate();
        text += value;
        return true;
    }
    bool collect(json::string_view part) {
        m_part.append(part.data(), part.size());
        return true;
    }
    bool number(json::string_view part) {
        collect(part);
        return word(std::exchange(m_part, {}));
    }
    void quote() {
        separate();
        text += '"';
        for (const char c : std::exchange(m_part, {})) {
            appendCharacter(text, c);
        }
        text += '"';
    }

    std::string m_part;
    bool m_afterKey = false;
    bool m_hasElements = false;
};

struct Reference {
    std::optional<std::string> text;
    bool exponentOverflows = false;
};

Reference readByBoost(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || (text[start] != '{' && text[start] != '[')) {
        return {};
    }
    json::parse_options options;
    options.max_depth = jsonMaximumDepth;
    json::basic_parser<Transcript> parser(options);
    error_code error;
    const std::size_t read = parser.write_some(false, text.data(), text.size(), error);
    if (error || read < text.size()) {
        return {std::nullopt, error == json::error::exponent_overflow};
    }
    return {parser.handler().text, false};
}

} // namespace

void fuzz::target(std::string_view input) {
    const Reference reference = readByBoost(input);
    if (reference.exponentOverflows) {
        return; // a limit of Boost's
    }
    const JsonReadResult result = readJson(input);
    require(result.value.has_value() == reference.text.has_value(), "both accept the same");
    require(result.value.has_value() == result.errorDescription.empty(), "a refusal is in words");
    if (result.value) {
        const auto written = writeJson(*result.value).text;
        require(written == reference.text, "both read the same");
        require(writeJson(*readJson(*written).value).text == written, "it is read again the same");
    }
    const JsonReadResult scarce = readJson(input, 1000);
    require(!scarce.value || result.value, "less memory accepts no more");
}
