// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfText.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace devserver {

namespace {

constexpr std::string_view blanks("\0\t\n\f\r ", 6);
constexpr std::string_view delimiters = "()<>[]{}/%";
constexpr std::size_t deepestNesting = 256;

bool isRegular(char c) {
    return blanks.find(c) == std::string_view::npos && delimiters.find(c) == std::string_view::npos;
}

void skipBlanks(std::string_view text, std::size_t& position) {
    while (position < text.size()) {
        if (text[position] == '%') {
            position = std::min(text.find_first_of("\r\n", position), text.size());
        } else if (blanks.find(text[position]) != std::string_view::npos) {
            ++position;
        } else {
            return;
        }
    }
}

/// The position behind a string in parentheses, or nothing.
std::optional<std::size_t> endOfString(std::string_view text, std::size_t position) {
    int depth = 0;
    for (; position < text.size(); ++position) {
        if (text[position] == '\\') {
            ++position;
        } else if (text[position] == '(') {
            ++depth;
        } else if (text[position] == ')' && --depth == 0) {
            return position + 1;
        }
    }
    return std::nullopt;
}

std::size_t endOfRegular(std::string_view text, std::size_t position) {
    while (position < text.size() && isRegular(text[position])) {
        ++position;
    }
    return position;
}

/// The position behind the token that begins at `position`, or nothing.
std::optional<std::size_t> endOfToken(std::string_view text, std::size_t position) {
    const char first = text[position];
    const bool isDouble = position + 1 < text.size() && text[position + 1] == first;
    switch (first) {
    case '(':
        return endOfString(text, position);
    case '<':
    case '>': {
        if (isDouble) {
            return position + 2;
        }
        const std::size_t end = first == '<' ? text.find('>', position) : std::string_view::npos;
        return end == std::string_view::npos ? std::nullopt : std::optional(end + 1);
    }
    case '[':
    case ']':
    case '{':
    case '}':
        return position + 1;
    case '/':
        return endOfRegular(text, position + 1);
    case ')':
        return std::nullopt;
    default:
        return endOfRegular(text, position);
    }
}

/// The bytes of a name, its "#xx" resolved.
std::string resolvedName(std::string_view name) {
    std::string resolved;
    for (std::size_t i = 0; i < name.size(); ++i) {
        unsigned code = 0;
        const char* const digits = name.data() + i + 1;
        if (name[i] == '#' && i + 2 < name.size()
            && std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2) {
            resolved += static_cast<char>(code);
            i += 2;
        } else {
            resolved += name[i];
        }
    }
    return resolved;
}

/// The two numbers before a keyword, and `position` behind it; nothing when they do not stand
/// there.
std::optional<PdfReference> numbersBefore(
    std::string_view keyword, std::string_view text, std::size_t& position) {
    std::size_t at = position;
    const std::optional<long long> number = pdfInteger(pdfToken(text, at));
    const std::optional<long long> generation = number ? pdfInteger(pdfToken(text, at)) : number;
    constexpr long long most = std::numeric_limits<int>::max();
    if (!generation || *number < 0 || *number > most || *generation < 0 || *generation > most
        || pdfToken(text, at) != keyword) {
        return std::nullopt;
    }
    position = at;
    return PdfReference{static_cast<int>(*number), static_cast<int>(*generation)};
}

/// The whole text as one object between brackets, without them; nothing when it is not that.
std::optional<std::string_view> within(
    std::string_view object, std::string_view open, std::string_view close) {
    std::size_t position = 0;
    const std::string_view whole = pdfObject(object, position);
    const bool isThat = whole.substr(0, open.size()) == open && whole.size() >= open.size() * 2
        && whole.substr(whole.size() - close.size()) == close;
    return isThat
        ? std::optional(whole.substr(open.size(), whole.size() - open.size() - close.size()))
        : std::nullopt;
}

} // namespace

std::string PdfReference::text() const {
    return std::to_string(number) + " " + std::to_string(generation) + " R";
}

std::string_view pdfToken(std::string_view text, std::size_t& position) {
    skipBlanks(text, position);
    const std::size_t start = position;
    const std::optional<std::size_t> end
        = start < text.size() ? endOfToken(text, start) : std::nullopt;
    position = end.value_or(start);
    return text.substr(start, position - start);
}

std::string_view pdfObject(std::string_view text, std::size_t& position) {
    skipBlanks(text, position);
    const std::size_t start = position;
    if (numbersBefore("R", text, position)) {
        return text.substr(start, position - start);
    }
    std::string open;
    do {
        const std::string_view token = pdfToken(text, position);
        if (token == "[" || token == "<<") {
            open += token[0];
        } else if (token == "]" || token == ">>") {
            if (open.empty() || open.back() != (token == "]" ? '[' : '<')) {
                return {};
            }
            open.pop_back();
        } else if (token.empty() || token == "{" || token == "}" || token == "endobj"
            || token == "stream") {
            return {};
        }
        if (open.size() > deepestNesting) {
            return {};
        }
    } while (!open.empty());
    return text.substr(start, position - start);
}

std::optional<PdfReference> pdfObjectHeader(std::string_view text, std::size_t& position) {
    return numbersBefore("obj", text, position);
}

std::optional<PdfReference> pdfReference(std::string_view object) {
    std::size_t position = 0;
    return numbersBefore("R", object, position);
}

std::optional<long long> pdfInteger(std::string_view object) {
    long long value = 0;
    const char* const end = object.data() + object.size();
    const auto [parsed, status] = std::from_chars(object.data(), end, value);
    return !object.empty() && status == std::errc() && parsed == end ? std::optional(value)
                                                                     : std::nullopt;
}

bool isPdfDictionary(std::string_view object) {
    return within(object, "<<", ">>").has_value();
}

bool isPdfArray(std::string_view object) {
    return within(object, "[", "]").has_value();
}

PdfElements pdfElements(std::string_view array) {
    const std::string_view text = within(array, "[", "]").value_or(std::string_view());
    PdfElements elements;
    std::size_t position = 0;
    for (std::string_view element = pdfObject(text, position); !element.empty();
         element = pdfObject(text, position)) {
        elements.push_back(element);
    }
    return elements;
}

std::string pdfArrayWith(std::string_view array, std::string_view element) {
    const std::size_t end = array.rfind(']');
    return std::string(array.substr(0, end)) + "\n" + std::string(element) + " ]";
}

std::optional<PdfEntries> pdfEntries(std::string_view dictionary) {
    const std::optional<std::string_view> text = within(dictionary, "<<", ">>");
    if (!text) {
        return std::nullopt;
    }
    PdfEntries entries;
    std::size_t position = 0;
    for (;;) {
        const std::string_view key = pdfToken(*text, position);
        if (key.empty()) {
            return entries;
        }
        const std::string_view value = pdfObject(*text, position);
        if (key[0] != '/' || value.empty()) {
            return std::nullopt;
        }
        entries.push_back({resolvedName(key), key, value});
    }
}

std::string pdfDictionaryWith(
    std::string_view dictionary, const std::string& key, std::string_view value) {
    std::string result(dictionary);
    for (const PdfEntry& entry : pdfEntries(dictionary).value_or(PdfEntries())) {
        if (entry.key == key) {
            const auto start = static_cast<std::size_t>(entry.value.data() - dictionary.data());
            return result.replace(start, entry.value.size(), " " + std::string(value) + " ");
        }
    }
    return result.insert(
        result.rfind(">>"), "\n" + key + " " + std::string(value) + " "); // a comment ends here
}

std::string pdfString(std::string_view bytes) {
    const bool isPlain = std::all_of(bytes.begin(), bytes.end(),
        [](char c) { return c >= ' ' && c <= '~' && c != '(' && c != ')' && c != '\\'; });
    return isPlain ? "(" + std::string(bytes) + ")" : "<" + pdfHexadecimal(bytes) + ">";
}

std::string pdfHexadecimal(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        text += digits[static_cast<unsigned char>(c) >> 4];
        text += digits[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

} // namespace devserver
