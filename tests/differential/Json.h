// SPDX-License-Identifier: MIT
// JSON as the model knows it: values that are written in the program's own form, and in any other
// that means the same.
#pragma once

#include "tests/differential/Random.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace differential {

struct Json {
    enum class Kind { null, boolean, number, text, array, object };
    struct Member;

    static Json null();
    static Json boolean(bool value);
    static Json number(std::string literal);
    static Json string(std::string text);
    static Json array(std::vector<Json> items);
    static Json object(std::vector<Member> members);

    bool isText() const { return kind == Kind::text; }
    /// The value under a name, or null.
    const Json* find(const std::string& name) const;

    Kind kind = Kind::null;
    std::string text; // of a text without quotes and escapes, of the others as written
    std::vector<Json> items;
    std::vector<Member> members;
};

struct Json::Member {
    Member(std::string name, Json value)
        : first(std::move(name))
        , second(std::move(value)) { }

    std::string first; // its name
    Json second;
};

/// A text in quotes, with the escapes that it must have and no others.
std::string quoted(const std::string& text);

/// Without blanks, members in their order.
std::string compact(const Json& value);

/// One of the many ways to write the value: blanks, needless escapes.
std::string spelled(const Json& value, Random& random);

/// Any value at most so deep.
Json anyJson(Random& random, int depth);

/// Any text, from empty to some hundred characters, of ASCII, controls and beyond the basic plane.
std::string anyText(Random& random);

/// RFC 4648, section 4.
std::string base64(const std::string& bytes);
/// How many bytes a text stands for; nothing when it is no Base64 on one line with padding.
std::optional<std::size_t> base64Size(const std::string& text);

} // namespace differential
