// SPDX-License-Identifier: MIT
#include "foundation/JsonEscapes.h"
#include "foundation/JsonReader.h"
#include "foundation/JsonWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// What the writer makes of what the reader read, or the reader's error.
std::string rewritten(const std::string& text) {
    const JsonReadResult result = readJson(text);
    return result.value ? writeJson(*result.value).text.value_or("not writable")
                        : result.errorDescription;
}

/// The one text in an array of one.
std::string textIn(const std::string& json) {
    const JsonReadResult result = readJson(json);
    if (!result.value) {
        return result.errorDescription;
    }
    return std::string(result.value->as<JsonArray>()->at(0).as<JsonText>()->view());
}

std::string nestedObjects(std::size_t depth) {
    std::string text;
    for (std::size_t i = 1; i < depth; ++i) {
        text += "{\"a\":";
    }
    return text + "{}" + std::string(depth - 1, '}');
}

} // namespace

TEST(JsonReader, EveryKindOfValueIsReadAsItself) {
    const JsonReadResult result = readJson(R"([null,true,false,12,"t",[],{}])");
    ASSERT_TRUE(result.value);
    const JsonArray& array = *result.value->as<JsonArray>();
    ASSERT_EQ(array.size(), 7U);
    EXPECT_TRUE(array[0].isNull());
    EXPECT_TRUE(*array[1].as<bool>());
    EXPECT_FALSE(*array[2].as<bool>());
    EXPECT_EQ(array[3].as<JsonNumber>()->literal, "12");
    EXPECT_EQ(*array[4].as<JsonText>(), "t");
    EXPECT_TRUE(array[5].as<JsonArray>()->empty());
    EXPECT_TRUE(array[6].as<JsonObject>()->members().empty());
    EXPECT_EQ(array[0].as<bool>(), nullptr);
    EXPECT_FALSE(array[1].isNull());
}

TEST(JsonReader, NumbersKeepTheirText) {
    for (const char* number : {"0", "-0", "7", "-9223372036854775808", "9223372036854775807",
             "18446744073709551615", "18446744073709551616", "123456789012345678901234567890",
             "0.1", "1.10", "-1.5e-300", "1E5", "1e+5", "1e999", "0.00000000000000000000000001",
             "3.141592653589793238462643383279502884197169399375105820974944592307816406286"}) {
        const std::string json = std::string("[") + number + "," + number + "]";
        EXPECT_EQ(rewritten(json), json);
    }
    const std::string digits(5000, '9'); // longer than any buffer of the parser
    EXPECT_EQ(rewritten("[" + digits + "]"), "[" + digits + "]");
}

TEST(JsonReader, WhatIsNoNumberIsRefused) {
    for (const char* number : {"01", "+1", ".5", "1.", "1e", "-", "NaN", "Infinity", "0x10"}) {
        EXPECT_FALSE(readJson(std::string("[") + number + "]").value) << number;
    }
}

TEST(JsonReader, EscapesBecomeTheirCharacters) {
    EXPECT_EQ(textIn(R"(["\"\\\/\b\f\n\r\t"])"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(
        textIn(R"(["\u0041\u00e9\u20AC\uD83D\uDE00"])"), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(textIn(R"(["a\u0000b"])"), std::string("a\0b", 3));
}

TEST(JsonReader, TextIsKeptInAnyScript) {
    const std::string text = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBB\xBF\x7F";
    EXPECT_EQ(textIn("[\"" + text + "\"]"), text);
}

TEST(JsonReader, BrokenTextsAreRefused) {
    for (const char* json :
        {R"(["\ud800"])", R"(["\udc00"])", R"(["\ud800\u0041"])", R"(["\ud800\ue000"])",
            R"(["\x41"])", R"(["\u12g4"])", R"(["abc)", "[\"a\nb\"]", "[\"a\tb\"]", "[\"\xFF\"]",
            "[\"\xC0\xAF\"]", "[\"\xED\xA0\x80\"]", "[\"\xF4\x90\x80\x80\"]"}) {
        EXPECT_FALSE(readJson(json).value) << json;
    }
}

TEST(JsonReader, LongTextsWithEscapesAreReadWhole) {
    std::string json = "[\"";
    std::string expected;
    for (int i = 0; i < 300'000; ++i) { // more than a megabyte, in many parts
        json += "abcde\\n";
        expected += "abcde\n";
    }
    EXPECT_EQ(textIn(json + "\"]"), expected);
}

TEST(JsonReader, LongKeysAreReadWhole) {
    const std::string key(100'000, 'k');
    const JsonReadResult result = readJson("{\"" + key + "\\n\":1}");
    ASSERT_TRUE(result.value);
    EXPECT_EQ(result.value->as<JsonObject>()->members().at(0).first, key + "\n");
}

TEST(JsonReader, OnlyObjectsAndArraysStandAtTheTop) {
    for (const char* json : {"3", "\"t\"", "null", "true", "x"}) {
        EXPECT_THAT(rewritten(json), HasSubstr("does not start with an array or object")) << json;
    }
    for (const char* json : {"", " \t\r\n", "\xEF\xBB\xBF"}) {
        EXPECT_THAT(rewritten(json), HasSubstr("there is no value")) << json;
    }
}

TEST(JsonReader, WhiteSpaceAroundAndWithinIsSkipped) {
    EXPECT_EQ(rewritten("\r\n\t [ 1 ,\n{ \"a\" : 2 } ] \r\n\t"), R"([1,{"a":2}])");
}

TEST(JsonReader, ByteOrderMarkIsSkipped) {
    EXPECT_EQ(rewritten("\xEF\xBB\xBF[1]"), "[1]");
    EXPECT_FALSE(readJson("\xEF\xBB\xBF\xEF\xBB\xBF[1]").value);
}

TEST(JsonReader, WhatIsNoJsonIsRefused) {
    for (const char* json : {"[", "[1", "[1,]", "[,1]", "[1 2]", "{", "{\"a\"}", "{\"a\":}",
             "{a:1}", "{\"a\":1,}", "[1]]", "[1] x", "[1][2]", "[1]//c", "[/*c*/1]", "[True]",
             "[nul]", "['a']", "[1}", "{\"a\":1]"}) {
        const JsonReadResult result = readJson(json);
        EXPECT_FALSE(result.value) << json;
        EXPECT_THAT(
            result.errorDescription, StartsWith("The data is not in the correct JSON format: "))
            << json;
    }
    EXPECT_FALSE(readJson(std::string("[1]\0", 4)).value);
}

TEST(JsonReader, MembersAreFoundByTheirWholeName) {
    const JsonReadResult result = readJson(R"({"name":1,"names":2,"":3})");
    ASSERT_TRUE(result.value);
    const auto* object = result.value->as<JsonObject>();
    ASSERT_NE(object->find("name"), nullptr);
    EXPECT_EQ(object->find("name")->as<JsonNumber>()->literal, "1");
    EXPECT_EQ(object->find("nam"), nullptr);
}

TEST(JsonReader, ErrorSaysWhere) {
    EXPECT_THAT(readJson("[1] x").errorDescription, HasSubstr("around character 4."));
    EXPECT_THAT(readJson("[\"ab\xFF\"]").errorDescription, HasSubstr("around character 4."));
}

TEST(JsonReader, NestingIsReadDownToTheMaximumDepth) {
    const std::string arrays
        = std::string(jsonMaximumDepth, '[') + std::string(jsonMaximumDepth, ']');
    EXPECT_EQ(jsonMaximumDepth, 512U);
    EXPECT_EQ(rewritten(arrays), arrays);
    EXPECT_EQ(rewritten(nestedObjects(512)), nestedObjects(512));
    EXPECT_FALSE(readJson("[" + arrays + "]").value);
    EXPECT_FALSE(readJson(nestedObjects(513)).value);
    EXPECT_FALSE(readJson(std::string(1'000'000, '[')).value);
}

TEST(JsonReader, ExponentsOfAnyLengthAreKept) {
    for (const char* number : {"1e2147483648", "0e2147483648", "-1.5E-99999999999999999999"}) {
        const std::string json = std::string("[") + number + "]";
        EXPECT_EQ(rewritten(json), json);
    }
}

TEST(JsonReader, ValuesAreBoundedByTheMemoryThatTheyTake) {
    std::string many = "[1";
    for (int i = 0; i < 3'000'000; ++i) {
        many += ",1";
    }
    many += "]";
    EXPECT_EQ(rewritten(many), many);
    EXPECT_EQ(jsonMemoryLimit, 1073741824U);
    for (const char* json : {"[[[1,2,3]]]", R"({"a":1,"b":[2],"c":{"d":3}})"}) {
        EXPECT_TRUE(readJson(json, 2000).value);
        const JsonReadResult refused = readJson(json, 500);
        EXPECT_FALSE(refused.value);
        EXPECT_THAT(refused.errorDescription, HasSubstr("there is not enough memory"));
    }
}

TEST(JsonReader, TextsAndNumbersStayInTheMemoryInWhichTheyCame) {
    OwnedText text(R"([12345678901234567890,"plain","a\nb"])");
    const char* const start = text.data();
    const char* const end = start + text.size();
    const JsonReadResult result = readJson(std::move(text));
    ASSERT_TRUE(result.value);
    const auto isWithin = [&](std::string_view part) {
        return part.data() >= start && part.data() + part.size() <= end;
    };
    const JsonArray& array = *result.value->as<JsonArray>();
    EXPECT_TRUE(isWithin(array[0].as<JsonNumber>()->literal.view()));
    EXPECT_TRUE(isWithin(array[1].as<JsonText>()->view()));
    EXPECT_TRUE(isWithin(array[2].as<JsonText>()->view()));
}

TEST(JsonReader, ValuesOutliveTheText) {
    std::optional<JsonValue> value;
    {
        JsonReadResult result = readJson(std::string(R"([1,"a\u0062c",{"k":"v"}])"));
        value = std::move(result.value);
    }
    EXPECT_EQ(writeJson(*value).text, R"([1,"abc",{"k":"v"}])");
}

TEST(JsonText, IsPlainUnlessItNeedsAnEscape) {
    const auto texts = [](const char* json) {
        return *readJson(json).value->as<JsonArray>()->at(0).as<JsonText>();
    };
    for (const char* json : {R"(["a"])", R"(["\/"])", R"(["\u0041\u00e9"])", R"([""])"}) {
        EXPECT_TRUE(texts(json).isPlain()) << json;
    }
    for (const char* json :
        {R"(["\""])", R"(["\\"])", R"(["\u0022"])", R"(["\n"])", R"(["\u0001\u0041"])"}) {
        EXPECT_FALSE(texts(json).isPlain()) << json;
        EXPECT_TRUE(texts(json).clean()) << json;
    }
    EXPECT_FALSE(texts(R"(["a\u0000\n"])").isPlain());
    EXPECT_FALSE(texts(R"(["a\u0000\n"])").clean());
    EXPECT_FALSE(JsonText(std::string("a\0b", 3)).clean());
    EXPECT_FALSE(JsonText("a\"").isPlain());
    EXPECT_TRUE(JsonText("a\"").clean());
}

TEST(JsonObject, LastOfRepeatedNamesCounts) {
    JsonReadResult result = readJson(R"({"a":1,"b":2,"a":3})");
    JsonObject& object = *result.value->as<JsonObject>();
    ASSERT_NE(object.find("a"), nullptr);
    EXPECT_EQ(object.find("a")->as<JsonNumber>()->literal, "3");
    EXPECT_EQ(object.take("a")->as<JsonNumber>()->literal, "3");
    EXPECT_EQ(object.find("c"), nullptr);
    EXPECT_FALSE(object.take("c"));
}
