// SPDX-License-Identifier: MIT
#include "foundation/JsonReader.h"

#include "foundation/Ascii.h"
#include "foundation/JsonEscapes.h"

#include <cstring>
#include <new>
#include <utility>

/// Reads values one after the other from a text that it may change: an escape sequence is longer
/// than what it stands for, so that texts are unescaped where they are.
class JsonReader {
public:
    JsonReader(JudgedText text, std::size_t memoryLimit)
        : m_cleanLength(text.clean().view().size())
        , m_text(std::move(text).take())
        , m_start(m_text.data())
        , m_at(m_start)
        , m_end(m_start + m_cleanLength) // what is not clean is no JSON
        , m_memoryLeft(memoryLimit) { }

    JsonReadResult read();

private:
    bool readValue(JsonValue& value, std::size_t depth);
    bool readObject(JsonValue& value, std::size_t depth);
    bool readArray(JsonValue& value, std::size_t depth);
    bool readWord(JsonValue& value);
    bool readNumber(JsonValue& value);
    std::optional<JsonText> readText();
    bool unescape(char*& out, JsonText::Contents& contents);
    std::optional<std::uint32_t> readCodePoint();
    std::optional<std::uint32_t> readHexDigits();

    void skipBlanks();
    bool skipDigits();
    bool isAt(char c) const { return m_at < m_end && *m_at == c; }
    bool take(char c);
    bool charge(std::size_t bytes);
    bool fail(const char* cause);
    JsonReadResult failure() const;

    std::size_t m_cleanLength;
    OwnedText m_text;
    char* m_start;
    char* m_at;
    char* m_end;
    std::size_t m_memoryLeft;
    const char* m_cause = nullptr; // the first
};

namespace {

constexpr const char* unexpected = "there is a character that does not belong there";
constexpr const char* noMemory = "there is not enough memory";

/// A vector that grows holds its elements thrice for a moment: in the old place and in twice the
/// room.
constexpr std::size_t growth = 3;

} // namespace

JsonReadResult JsonReader::read() {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (m_text.view().substr(0, m_cleanLength).starts_with(byteOrderMark)) {
        m_start += byteOrderMark.size();
        m_at = m_start;
    }
    skipBlanks();
    JsonValue value(nullptr);
    if (m_at == m_end && m_cleanLength == m_text.size()) {
        m_cause = "there is no value";
        m_at = m_start;
    } else if (!isAt('{') && !isAt('[')) {
        m_cause = "the text does not start with an array or object";
    } else if (readValue(value, 0)) {
        skipBlanks();
        if (m_at == m_end && m_cleanLength == m_text.size()) {
            return {std::move(value), {}};
        }
        m_cause = "there is something after the value";
    }
    return failure();
}

bool JsonReader::readValue(JsonValue& value, std::size_t depth) {
    skipBlanks();
    switch (m_at == m_end ? '\0' : *m_at) {
    case '{':
        return readObject(value, depth + 1);
    case '[':
        return readArray(value, depth + 1);
    case '"': {
        std::optional<JsonText> text = readText();
        if (text) {
            value = *std::move(text);
        }
        return text.has_value();
    }
    case 't':
    case 'f':
    case 'n':
        return readWord(value);
    default:
        return readNumber(value);
    }
}

bool JsonReader::readObject(JsonValue& value, std::size_t depth) {
    ++m_at;
    if (depth > jsonMaximumDepth) {
        return fail("it is nested too deeply");
    }
    JsonObject object;
    skipBlanks();
    bool more = !isAt('}');
    while (more) {
        skipBlanks();
        if (!isAt('"')) {
            return fail(unexpected);
        }
        std::optional<JsonText> name = readText();
        if (!name || !charge(growth * sizeof(JsonObject::Member))) {
            return false;
        }
        skipBlanks();
        JsonValue member(nullptr);
        if (!take(':') || !readValue(member, depth)) {
            return false;
        }
        object.add(*std::move(name), std::move(member));
        skipBlanks();
        more = isAt(',');
        m_at += more ? 1 : 0;
    }
    value = std::move(object);
    return take('}');
}

bool JsonReader::readArray(JsonValue& value, std::size_t depth) {
    ++m_at;
    if (depth > jsonMaximumDepth) {
        return fail("it is nested too deeply");
    }
    JsonArray array;
    skipBlanks();
    bool more = !isAt(']');
    while (more) {
        if (!charge(growth * sizeof(JsonValue))) {
            return false;
        }
        if (!readValue(array.emplace_back(nullptr), depth)) {
            return false;
        }
        skipBlanks();
        more = isAt(',');
        m_at += more ? 1 : 0;
    }
    value = std::move(array);
    return take(']');
}

bool JsonReader::readWord(JsonValue& value) {
    const std::string_view rest(m_at, static_cast<std::size_t>(m_end - m_at));
    for (const std::string_view word : {"true", "false", "null"}) {
        if (rest.starts_with(word)) {
            m_at += word.size();
            value = word == "null" ? JsonValue(nullptr) : JsonValue(word == "true");
            return true;
        }
    }
    return fail(unexpected);
}

/// A number is as long as its grammar goes, and is not looked at otherwise.
bool JsonReader::readNumber(JsonValue& value) {
    const char* const start = m_at;
    m_at += isAt('-') ? 1 : 0;
    if (isAt('0')) {
        ++m_at;
    } else if (!skipDigits()) {
        return fail(unexpected);
    }
    if (isAt('.')) {
        ++m_at;
        if (!skipDigits()) {
            return fail(unexpected);
        }
    }
    if (isAt('e') || isAt('E')) {
        ++m_at;
        m_at += isAt('+') || isAt('-') ? 1 : 0;
        if (!skipDigits()) {
            return fail(unexpected);
        }
    }
    value
        = JsonNumber{SharedText(m_text.memory(), {start, static_cast<std::size_t>(m_at - start)})};
    return true;
}

std::optional<JsonText> JsonReader::readText() {
    char* const start = ++m_at;
    char* out = start;
    auto contents = JsonText::Contents::plain;
    while (true) {
        const std::size_t plain
            = jsonPlainPrefixLength({m_at, static_cast<std::size_t>(m_end - m_at)});
        if (out != m_at) {
            std::memmove(out, m_at, plain);
        }
        out += plain;
        m_at += plain;
        if (isAt('"')) {
            ++m_at;
            const std::string_view text(start, static_cast<std::size_t>(out - start));
            return JsonText(SharedText(m_text.memory(), text), contents);
        }
        if (!isAt('\\')) {
            fail(m_at == m_end && m_cleanLength == m_text.size() ? "a text does not end"
                                                                 : unexpected);
            return std::nullopt;
        }
        if (!unescape(out, contents)) {
            return std::nullopt;
        }
    }
}

/// Reads one escape sequence. What it stands for may need an escape again when it is written.
bool JsonReader::unescape(char*& out, JsonText::Contents& contents) {
    ++m_at;
    const char letter = m_at == m_end ? '\0' : *m_at;
    std::uint32_t codePoint = 0;
    if (letter == 'u') {
        const std::optional<std::uint32_t> read = readCodePoint();
        if (!read) {
            return false;
        }
        codePoint = *read;
    } else {
        const std::optional<char> character = jsonEscapedCharacter(letter);
        if (!character) {
            return fail("there is an unknown escape sequence");
        }
        ++m_at;
        codePoint = static_cast<unsigned char>(*character);
    }
    if (codePoint == 0) {
        contents = JsonText::Contents::withNul;
    } else if ((codePoint < 0x20 || codePoint == '"' || codePoint == '\\')
        && contents == JsonText::Contents::plain) {
        contents = JsonText::Contents::withEscapes;
    }
    out = putUtf8(out, codePoint);
    return true;
}

/// What follows a backslash: "u" and four digits, or two such sequences that make a pair.
std::optional<std::uint32_t> JsonReader::readCodePoint() {
    const std::optional<std::uint32_t> first = readHexDigits();
    if (!first || *first < 0xD800 || *first > 0xDFFF) {
        return first;
    }
    if (*first < 0xDC00 && isAt('\\') && m_at + 1 < m_end && m_at[1] == 'u') {
        ++m_at;
        const std::optional<std::uint32_t> second = readHexDigits();
        if (!second) {
            return std::nullopt;
        }
        if (*second >= 0xDC00 && *second <= 0xDFFF) {
            return 0x10000 + ((*first - 0xD800) << 10) + (*second - 0xDC00);
        }
    }
    fail("there is half a surrogate pair");
    return std::nullopt;
}

std::optional<std::uint32_t> JsonReader::readHexDigits() {
    constexpr std::string_view digits = "0123456789abcdef";
    ++m_at; // the "u"
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i, ++m_at) {
        const char c = m_at == m_end ? '\0' : *m_at;
        const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c + ('a' - 'A')) : c;
        const std::size_t digit = digits.find(lower);
        if (digit == std::string_view::npos) {
            fail("there is an unknown escape sequence");
            return std::nullopt;
        }
        number = number << 4 | static_cast<std::uint32_t>(digit);
    }
    return number;
}

void JsonReader::skipBlanks() {
    while (m_at < m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t')) {
        ++m_at;
    }
}

bool JsonReader::skipDigits() {
    const char* const start = m_at;
    while (m_at < m_end && isDigit(*m_at)) {
        ++m_at;
    }
    return m_at != start;
}

bool JsonReader::take(char c) {
    if (!isAt(c)) {
        return fail(unexpected);
    }
    ++m_at;
    return true;
}

bool JsonReader::charge(std::size_t bytes) {
    if (bytes > m_memoryLeft) {
        return fail(noMemory);
    }
    m_memoryLeft -= bytes;
    return true;
}

bool JsonReader::fail(const char* cause) {
    m_cause = m_cause == nullptr ? cause : m_cause;
    return false;
}

JsonReadResult JsonReader::failure() const {
    return {std::nullopt,
        std::string("The data is not in the correct JSON format: ") + m_cause + " around character "
            + std::to_string(m_at - m_start) + "."};
}

JsonReadResult readJson(JudgedText text, std::size_t memoryLimit) {
    try {
        return JsonReader(std::move(text), memoryLimit).read();
    } catch (const std::bad_alloc&) {
        return {std::nullopt,
            std::string("The data is not in the correct JSON format: ") + noMemory + "."};
    }
}
