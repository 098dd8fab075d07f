// SPDX-License-Identifier: MIT
#include "tests/differential/Json.h"

#include <cstdio>

namespace differential {

namespace {

std::string hexEscape(unsigned unit) {
    char text[16];
    std::snprintf(text, sizeof text, "\\u%04x", unit);
    return text;
}

/// The code point that begins at `position`, which moves on. The text is well-formed.
char32_t nextCodePoint(const std::string& text, std::size_t& position) {
    const auto first = static_cast<unsigned char>(text[position++]);
    if (first < 0x80) {
        return first;
    }
    const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    char32_t value = first & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
        value = value << 6 | (static_cast<unsigned char>(text[position++]) & 0x3Fu);
    }
    return value;
}

std::string escapedWhole(char32_t codePoint) {
    if (codePoint < 0x10000) {
        return hexEscape(static_cast<unsigned>(codePoint));
    }
    const auto rest = static_cast<unsigned>(codePoint - 0x10000);
    return hexEscape(0xD800 + (rest >> 10)) + hexEscape(0xDC00 + (rest & 0x3FF));
}

std::string spelledText(const std::string& text, Random& random) {
    std::string out = "\"";
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t codePoint = nextCodePoint(text, position);
        const std::string plain = text.substr(start, position - start);
        if (codePoint == '/' && random.chance(50)) {
            out += "\\/";
        } else if (random.chance(10)) {
            out += escapedWhole(codePoint);
        } else {
            const std::string required = quoted(plain);
            out += required.substr(1, required.size() - 2);
        }
    }
    return out + "\"";
}

} // namespace

Json Json::null() {
    return {Kind::null, "null", {}, {}};
}
Json Json::boolean(bool value) {
    return {Kind::boolean, value ? "true" : "false", {}, {}};
}
Json Json::number(std::string literal) {
    return {Kind::number, std::move(literal), {}, {}};
}
Json Json::string(std::string text) {
    return {Kind::text, std::move(text), {}, {}};
}
Json Json::array(std::vector<Json> items) {
    return {Kind::array, {}, std::move(items), {}};
}
Json Json::object(std::vector<Member> members) {
    return {Kind::object, {}, {}, std::move(members)};
}

const Json* Json::find(const std::string& name) const {
    const Json* found = nullptr;
    for (const auto& [key, value] : members) {
        found = key == name ? &value : found;
    }
    return found;
}

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += static_cast<unsigned char>(c) < 0x20 ? hexEscape(static_cast<unsigned char>(c))
                                                        : std::string(1, c);
        }
    }
    return out + "\"";
}

std::string compact(const Json& value) {
    std::string out;
    switch (value.kind) {
    case Json::Kind::text:
        return quoted(value.text);
    case Json::Kind::array:
        for (const Json& item : value.items) {
            out += (out.empty() ? "" : ",") + compact(item);
        }
        return "[" + out + "]";
    case Json::Kind::object:
        for (const auto& [name, member] : value.members) {
            out += (out.empty() ? "" : ",") + quoted(name) + ":" + compact(member);
        }
        return "{" + out + "}";
    default:
        return value.text;
    }
}

std::string spelled(const Json& value, Random& random) {
    const auto blank = [&] { return random.text(1, {"", "", "", " ", "\n", "\t", "\r\n "}); };
    std::string out;
    switch (value.kind) {
    case Json::Kind::text:
        return spelledText(value.text, random);
    case Json::Kind::array:
        for (const Json& item : value.items) {
            out += (out.empty() ? "" : ",") + blank() + spelled(item, random) + blank();
        }
        return "[" + (out.empty() ? blank() : out) + "]";
    case Json::Kind::object:
        for (const auto& [name, member] : value.members) {
            out += (out.empty() ? "" : ",") + blank() + spelledText(name, random) + blank() + ":"
                + blank() + spelled(member, random) + blank();
        }
        return "{" + (out.empty() ? blank() : out) + "}";
    default:
        return value.text;
    }
}

std::string anyText(Random& random) {
    return random.text(random.chance(5) ? 300 : 12,
        {"a", "Zq", "0", " ", "/", "\"", "\\", "\b", "\f", "\n", "\r", "\t", "\x01", "\x1f", "\x7f",
            "%", "%d", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", "{", "]",
            ":", ",", "=="});
}

Json anyJson(Random& random, int depth) {
    switch (random.below(depth > 0 ? 8 : 5)) {
    case 0:
        return Json::null();
    case 1:
        return Json::boolean(random.chance(50));
    case 2:
        return Json::number(random.pick<std::string>(
            {"0", "-0", "7", "-1", "1.0", "0.1", "1e5", "1E+400", "-2.50e-3",
                "18446744073709551616", "9007199254740993", "123456789012345678901234567890"}));
    case 3:
    case 4:
        return Json::string(anyText(random));
    case 5:
    case 6: {
        std::vector<Json> items;
        for (std::size_t count = random.below(4); count > 0; --count) {
            items.push_back(anyJson(random, depth - 1));
        }
        return Json::array(std::move(items));
    }
    default: {
        std::vector<Json::Member> members;
        for (std::size_t count = random.below(4); count > 0; --count) {
            members.emplace_back(
                std::to_string(count) + anyText(random), anyJson(random, depth - 1));
        }
        return Json::object(std::move(members));
    }
    }
}

std::string base64(const std::string& bytes) {
    static const std::string alphabet
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            group = group << 8
                | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            out += i + j > bytes.size() ? '=' : alphabet[group >> (18 - 6 * j) & 63];
        }
    }
    return out;
}

std::optional<std::size_t> base64Size(const std::string& text) {
    std::size_t padding = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=') {
            ++padding;
        } else if (padding > 0
            || (isalnum(static_cast<unsigned char>(text[i])) == 0 && text[i] != '+'
                && text[i] != '/')) {
            return std::nullopt;
        }
    }
    if (text.size() % 4 != 0 || padding > 2) {
        return std::nullopt;
    }
    return text.size() / 4 * 3 - padding;
}

} // namespace differential
