// SPDX-License-Identifier: MIT
#include "foundation/JsonWriter.h"
#include "foundation/JsonEscapes.h"
#include "foundation/JsonReader.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

std::string written(const JsonValue& value) {
    return writeJson(value).text.value_or("not writable");
}

} // namespace

TEST(JsonWriter, OutputIsCompactAndInOrder) {
    JsonObject object{{"z", 1}, {"a", JsonArray{true, false, nullptr}}};
    object.add("m", JsonObject{{"k", "v"}});
    EXPECT_EQ(written(object), R"({"z":1,"a":[true,false,null],"m":{"k":"v"}})");
    JsonArray nested{JsonArray(), JsonObject()};
    nested.emplace_back(JsonArray{nullptr, nested});
    EXPECT_EQ(written(nested), "[[],{},[null,[[],{}]]]");
}

TEST(JsonWriter, BracketsInTextsDoNotDisturbTheCommas) {
    EXPECT_EQ(written(JsonArray{"[", "{", "["}), R"(["[","{","["])");
    EXPECT_EQ(written(JsonObject{{"{", "{"}, {"[", "["}}), R"({"{":"{","[":"["})");
}

TEST(JsonWriter, OnlyQuoteBackslashAndControlsAreEscaped) {
    EXPECT_EQ(written("\"\\\b\f\n\r\t"), R"("\"\\\b\f\n\r\t")");
    EXPECT_EQ(written(std::string("\0\x01\x0B\x0E\x1F", 5)), R"("\u0000\u0001\u000b\u000e\u001f")");
    EXPECT_EQ(written("/ \x7F\xC3\xA9\xE2\x80\xA8\xF0\x9F\x98\x80'<>&"),
        "\"/ \x7F\xC3\xA9\xE2\x80\xA8\xF0\x9F\x98\x80'<>&\"");
}

TEST(JsonWriter, EscapesAreFoundAtEveryPlaceOfAText) {
    for (std::size_t length = 1; length <= 20; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            std::string text(length, '\xC3'); // high bytes, made well-formed in pairs below
            for (std::size_t i = 0; i < length; ++i) {
                text[i] = static_cast<char>('!' + 2 * static_cast<int>(i));
            }
            text[place] = '\n';
            std::string expected;
            for (const char c : text) {
                expected += c == '\n' ? "\\n" : c == '"' ? "\\\"" : std::string(1, c);
            }
            EXPECT_EQ(written(text), "\"" + expected + "\"");
            const JsonReadResult read = readJson("[" + written(text) + "]");
            ASSERT_TRUE(read.value);
            EXPECT_EQ(read.value->as<JsonArray>()->at(0).as<JsonText>()->view(), text);
        }
    }
}

TEST(JsonWriter, PlainPrefixEndsAtTheFirstCharacterToEscape) {
    for (std::size_t place = 0; place < 170; ++place) {
        for (const char c : {'"', '\\', '\n', '\0', '\x1F'}) {
            std::string text(170, ' ');
            text[place] = c;
            EXPECT_EQ(jsonPlainPrefixLength(text), place);
        }
    }
    EXPECT_EQ(jsonPlainPrefixLength("\x7F\x80\xFF !#[]"), 8U);
    EXPECT_EQ(jsonPlainPrefixLength(""), 0U);
}

TEST(JsonWriter, IllFormedTextIsRepaired) {
    EXPECT_EQ(written("a\xFF\"b"), "\"a\xEF\xBF\xBD\\\"b\"");
    EXPECT_EQ(written(JsonObject{{"\xC0", "\xE2\x82"}}), "{\"\xEF\xBF\xBD\":\"\xEF\xBF\xBD\"}");
}

TEST(JsonWriter, NumbersOfEveryTypeAreExact) {
    EXPECT_EQ(written(-7), "-7");
    EXPECT_EQ(written(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(written(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(written(0.1), "0.1");
    EXPECT_EQ(written(JsonNumber{"1.50E3"}), "1.50E3");
}

TEST(JsonWriter, NumbersThatAreNotFiniteCannotBeWritten) {
    using Limits = std::numeric_limits<double>;
    for (const double number : {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}) {
        for (const JsonValue& value : {JsonValue(number), JsonValue(JsonArray{number}),
                 JsonValue(JsonObject{{"a", JsonArray{number}}})}) {
            const JsonWriteResult result = writeJson(value);
            EXPECT_FALSE(result.text);
            EXPECT_EQ(result.errorDescription, "Invalid number value (not finite) in JSON write.");
        }
        const JsonValue value(number);
        EXPECT_FALSE(writeJsonObject({{"a", &value}}).text);
    }
}

TEST(JsonWriter, LongTextsOfAnObjectAreNotCopied) {
    const JsonText text(std::string(100'000, 'a'));
    const JsonValue value(JsonObject{{"k", text}});
    auto result = writeJsonObject({{"a", &value}});
    const auto pieces = std::move(*result.text).take();
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[1].text.view().data(), text.view().data());
    EXPECT_TRUE(pieces[1].clean);
}

TEST(JsonWriter, LongTextsWithEscapesAreWrittenWhole) {
    const std::string text = std::string(100'000, 'a') + "\"" + std::string(100'000, 'b') + "\n";
    const JsonValue value{std::string(text)};
    const auto result = writeJsonObject({{"a", &value}, {"b", &value}});
    const std::string expected
        = "\"" + std::string(100'000, 'a') + "\\\"" + std::string(100'000, 'b') + "\\n\"";
    EXPECT_EQ(*result.text, "{\"a\":" + expected + ",\"b\":" + expected + "}");
}

TEST(JsonWriter, ObjectOfViewsWritesAbsentValuesAsNull) {
    const JsonValue text("t");
    EXPECT_EQ(writeJsonObject({{"a", &text}, {"b\n", nullptr}}).text, R"({"a":"t","b\n":null})");
    EXPECT_EQ(writeJsonObject({}).text, "{}");
}
