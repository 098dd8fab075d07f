// SPDX-License-Identifier: MIT
#include "foundation/JsonReader.h"

#include <boost/json/basic_parser_impl.hpp>

#include <new>
#include <stdexcept>
#include <utility>

namespace {

namespace json = boost::json;
using json::error_code;

/// Builds the value from the parser's events. Texts and numbers may come in parts.
class Builder {
public:
    static constexpr std::size_t max_object_size = std::size_t(-1);
    static constexpr std::size_t max_array_size = std::size_t(-1);
    static constexpr std::size_t max_key_size = std::size_t(-1);
    static constexpr std::size_t max_string_size = std::size_t(-1);

    explicit Builder(std::size_t inputSize)
        : m_inputSize(inputSize) { }

    std::optional<JsonValue> take() { return std::move(m_root); }

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) { return open(JsonObject()); }
    bool on_object_end(std::size_t, error_code& error) { return close(error); }
    bool on_array_begin(error_code&) { return open(JsonArray()); }
    bool on_array_end(std::size_t, error_code& error) { return close(error); }

    bool on_key_part(json::string_view part, std::size_t, error_code&) {
        m_text += part;
        return true;
    }
    bool on_key(json::string_view part, std::size_t, error_code&) {
        m_text += part;
        m_stack.back().key = std::exchange(m_text, {});
        return true;
    }
    bool on_string_part(json::string_view part, std::size_t, error_code&) {
        // A long text with escapes comes in many parts. Its length is unknown but bounded by the
        // input, so one reservation does; what was not needed is given back at its end.
        if (m_text.size() > growingFrom && m_text.capacity() < m_inputSize) {
            m_text.reserve(m_inputSize);
        }
        m_text += part;
        return true;
    }
    bool on_string(json::string_view part, std::size_t, error_code& error) {
        m_text += part;
        if (m_text.capacity() / 2 > m_text.size()) {
            m_text.shrink_to_fit();
        }
        return add(std::exchange(m_text, {}), error);
    }
    bool on_number_part(json::string_view part, error_code&) {
        m_text += part;
        return true;
    }
    bool on_int64(std::int64_t, json::string_view part, error_code& error) {
        return addNumber(part, error);
    }
    bool on_uint64(std::uint64_t, json::string_view part, error_code& error) {
        return addNumber(part, error);
    }
    bool on_double(double, json::string_view part, error_code& error) {
        return addNumber(part, error);
    }
    bool on_bool(bool value, error_code& error) { return add(value, error); }
    bool on_null(error_code& error) { return add(nullptr, error); }
    bool on_comment_part(json::string_view, error_code&) { return true; }
    bool on_comment(json::string_view, error_code&) { return true; }

private:
    struct Level {
        JsonValue container;
        std::string key; // of the member that is being read, in an object
    };

    static constexpr std::size_t growingFrom = std::size_t{1} << 20;

    bool open(JsonValue container) {
        m_stack.push_back({std::move(container), {}});
        return true;
    }

    bool close(error_code& error) {
        JsonValue finished = std::move(m_stack.back().container);
        m_stack.pop_back();
        return add(std::move(finished), error);
    }

    bool addNumber(json::string_view part, error_code& error) {
        m_text += part;
        return add(JsonNumber{std::exchange(m_text, {})}, error);
    }

    bool add(JsonValue value, error_code& error) {
        if (++m_values > jsonMaximumValues) {
            error = json::error::array_too_large;
            return false;
        }
        if (m_stack.empty()) {
            m_root = std::move(value);
        } else if (JsonObject* object = m_stack.back().container.as<JsonObject>()) {
            object->add(std::move(m_stack.back().key), std::move(value));
        } else if (JsonArray* array = m_stack.back().container.as<JsonArray>()) {
            array->push_back(std::move(value));
        }
        return true;
    }

    std::size_t m_inputSize;
    std::size_t m_values = 0;
    std::optional<JsonValue> m_root;
    std::vector<Level> m_stack;
    std::string m_text;
};

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (text.starts_with(mark)) {
        text.remove_prefix(mark.size());
    }
    return text;
}

JsonReadResult failure(const std::string& cause, std::size_t position) {
    return {std::nullopt,
        "The data is not in the correct JSON format: " + cause + " around character "
            + std::to_string(position) + "."};
}

JsonReadResult readWholeText(std::string_view text) {
    text = withoutByteOrderMark(text);
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) {
        return failure("there is no value", 0);
    }
    if (text[start] != '{' && text[start] != '[') {
        return failure("the text does not start with an array or object", start);
    }
    json::parse_options options;
    options.max_depth = jsonMaximumDepth;
    json::basic_parser<Builder> parser(options, text.size());
    error_code error;
    const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
    if (error) {
        return failure(error.message(), consumed);
    }
    if (consumed < text.size()) {
        return failure("there is something after the value", consumed);
    }
    return {parser.handler().take(), {}};
}

} // namespace

JsonReadResult readJson(std::string_view text) {
    try {
        return readWholeText(text);
    } catch (const std::bad_alloc&) {
        return failure("there is not enough memory", text.size());
    } catch (const std::length_error&) {
        return failure("there is not enough memory", text.size());
    }
}
