// SPDX-License-Identifier: MIT
#include "ZqMacClient/DebugDescription.h"

#include "foundation/JsonReader.h"
#include "tests/support/PlatformTest.h"

namespace {

class LogLineTest : public PlatformTest {
protected:
    std::string lastLine() const { return memory.log().back(); }

    template <typename Value>
    std::string lineOf(const std::optional<Value>& value) {
        LogLine().addOptional(value).write();
        return lastLine();
    }
};

} // namespace

TEST_F(LogLineTest, AbsentValuesAreNil) {
    EXPECT_EQ(lineOf(std::optional<JsonValue>()), "nil");
    EXPECT_EQ(lineOf(std::optional<std::string>()), "nil");
    EXPECT_EQ(lineOf(std::optional<Bytes>()), "nil");
}

TEST_F(LogLineTest, PresentValuesStandInOptionalParentheses) {
    const std::pair<const char*, const char*> cases[] = {
        {"null", "Optional(<null>)"},
        {"true", "Optional(true)"},
        {"false", "Optional(false)"},
        {"1.50", "Optional(1.50)"},
        {R"("r1")", R"(Optional("r1"))"},
        {R"("a\"\\\n")", R"(Optional("a\"\\\n"))"},
        {"[]", "Optional([])"},
        {"{}", "Optional({})"},
        {R"([1,null,"a",[2]])", R"(Optional([1,null,"a",[2]]))"},
        {R"({"a":1,"b":{"c":[]},"d":true})", R"(Optional({"a":1,"b":{"c":[]},"d":true}))"},
    };
    for (const auto& [json, expected] : cases) {
        const JsonReadResult read = readJson(std::string("[") + json + "]");
        EXPECT_EQ(lineOf(std::optional(read.value->as<JsonArray>()->at(0))), expected);
    }
    EXPECT_EQ(lineOf(std::optional<std::string>("a\tb")), R"(Optional("a\tb"))");
    EXPECT_EQ(lineOf(std::optional<std::string>("")), R"(Optional(""))");
}

TEST_F(LogLineTest, BytesAreDescribedByTheirLength) {
    EXPECT_EQ(lineOf(std::optional(Bytes{1, 2, 3})), "Optional(3 bytes)");
    EXPECT_EQ(lineOf(std::optional(Bytes())), "Optional(0 bytes)");
}

TEST_F(LogLineTest, PartsMakeOneLine) {
    LogLine()
        .add("Sending message: ")
        .add("X")
        .add(" ")
        .addOptional(std::optional<JsonValue>())
        .add(" ")
        .addOptional(std::optional<JsonValue>(7))
        .write();
    EXPECT_EQ(memory.log(), std::vector<std::string>{"Sending message: X nil Optional(7)"});
}

TEST_F(LogLineTest, LongAndShortTextsKeepTheirOrder) {
    for (const std::size_t length : {4095U, 4096U, 4097U}) {
        const std::string text(length, 'x');
        LogLine().add("a").add(text).add("b").add(text).add(text).add("c").write();
        EXPECT_EQ(lastLine(), "a" + text + "b" + text + text + "c");
    }
    const std::string text(5000, 'y');
    const JsonValue value = JsonArray{text, "s", text + "\"" + text};
    LogLine().addValue(value).write();
    EXPECT_EQ(lastLine(), "[\"" + text + "\",\"s\",\"" + text + "\\\"" + text + "\"]");
}

TEST_F(LogLineTest, WhatWasAddedMayBeGoneWhenTheLineIsWritten) {
    LogLine line;
    line.add(std::string(100'000, 'x')).add(std::string("short"));
    line.addText(std::string(100'000, 'y')).addValue(JsonArray{std::string(100'000, 'z')});
    line.write();
    EXPECT_EQ(lastLine(),
        std::string(100'000, 'x') + "short" + std::string(100'000, 'y') + "[\""
            + std::string(100'000, 'z') + "\"]");
}

TEST_F(LogLineTest, AnEmptyLineIsWritten) {
    LogLine().write();
    EXPECT_EQ(memory.log(), std::vector<std::string>{""});
}

TEST_F(LogLineTest, ValueThatIsNoTextIsNilWhereATextIsExpected) {
    LogLine().addOptionalText(nullptr).add(" ").addOptionalText("a\"b").write();
    EXPECT_EQ(lastLine(), "nil Optional(\"a\\\"b\")");
}

TEST(DebugDescription, ObjectsDescribeThemselves) {
    const platform::SecKeyRef key = std::make_shared<NamedObject<platform::SecKey>>("key");
    EXPECT_EQ(debugDescription(key), "Optional(<key>)");
    EXPECT_EQ(debugDescription(platform::SecKeyRef()), "nil");
}
