// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqMessage.h"

#include "tests/support/PlatformTest.h"

#include <limits>

using testing::ElementsAre;

namespace {

class ZqMessageTest : public PlatformTest {
protected:
    /// The envelope of a JSON text, delivered with its terminator.
    std::unique_ptr<const ZqMessage> read(const std::string& json) {
        return ZqMessage::initWithBody(json + std::string(1, '\0'));
    }

    std::string endOfReading(const std::string& body) {
        return endOf([&] { ZqMessage::initWithBody(body); });
    }

    /// Nothing happened but one alert and the end after it.
    void expectAlertAndExit(const std::string& message, const std::string& details) {
        EXPECT_EQ(happened(), fatalAlert(message, details));
    }

    void expectParsingAlert() {
        ASSERT_EQ(memory.userInterface().alerts.size(), 1U);
        const std::string details = memory.userInterface().alerts[0].informativeText;
        EXPECT_FALSE(details.empty());
        expectAlertAndExit("Error parsing server message", details);
    }

    /// Nothing happened but a diagnostic line and the abort.
    void expectFatalError() { expectFatalEnd({}); }

    void expectSilence() { EXPECT_THAT(happened(), ElementsAre()); }
};

std::string nestedArrays(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

} // namespace

TEST_F(ZqMessageTest, PartsAreKeptAsGiven) {
    const ZqMessage message("X", JsonArray{1, "a"}, JsonValue("r1"));
    EXPECT_EQ(message.command(), "X");
    ASSERT_TRUE(message.payload() && message.payload()->as<JsonArray>());
    EXPECT_EQ(message.payload()->as<JsonArray>()->size(), 2U);
    ASSERT_TRUE(message.requestId() && message.requestId()->as<JsonText>());
    EXPECT_EQ(*message.requestId()->as<JsonText>(), "r1");
    const ZqMessage bare("Y", std::nullopt, std::nullopt);
    EXPECT_FALSE(bare.payload());
    EXPECT_FALSE(bare.requestId());
}

TEST_F(ZqMessageTest, TerminatedBodyGivesCommandNoPayloadAndEmptyRequestId) {
    const auto message = read(R"({"command":"GET_DIAGNOSTICS"})");
    EXPECT_EQ(message->command(), "GET_DIAGNOSTICS");
    EXPECT_FALSE(message->payload());
    ASSERT_TRUE(message->requestId() && message->requestId()->as<JsonText>());
    EXPECT_EQ(*message->requestId()->as<JsonText>(), "");
    expectSilence();
}

TEST_F(ZqMessageTest, BodyWithoutTerminatorLosesItsBraceAndEndsInAnAlert) {
    EXPECT_EQ(endOfReading(R"({"command":"GET_DIAGNOSTICS"})"), "exit 1");
    expectParsingAlert();
}

TEST_F(ZqMessageTest, LastCharacterIsDroppedWhateverItIs) {
    const std::string terminators[] = {std::string(1, '\0'), "\n", " ", "x", "}", "\"", "\xC3\xA9",
        "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
    for (const std::string& terminator : terminators) {
        SCOPED_TRACE(terminator);
        EXPECT_EQ(ZqMessage::initWithBody(R"({"command":"X"})" + terminator)->command(), "X");
    }
    expectSilence();
}

TEST_F(ZqMessageTest, ExactlyOneCharacterIsDropped) {
    EXPECT_EQ(endOfReading(R"({"command":"X"})" + std::string(2, '\0')), "exit 1");
    expectParsingAlert();
}

TEST_F(ZqMessageTest, EmptyBodyIsAFatalError) {
    EXPECT_EQ(endOfReading(""), "abort");
    EXPECT_THAT(
        happened(), ElementsAre("log: Fatal error: the body of a message is empty", "abort"));
}

TEST_F(ZqMessageTest, BodyOfOneCharacterIsNoJson) {
    for (const char* body : {"x", "\n", "\xC3\xA9"}) {
        forget();
        memory.userInterface().alerts.clear();
        EXPECT_EQ(endOfReading(body), "exit 1");
        expectParsingAlert();
    }
}

TEST_F(ZqMessageTest, BodyThatIsItsTerminatorAloneIsNoJson) {
    EXPECT_EQ(endOf([&] { read(""); }), "exit 1");
    expectParsingAlert();
}

TEST_F(ZqMessageTest, TextThatIsNotUtf8IsAFatalError) {
    for (const char* json : {"{\"command\":\"\xFF\"}", "\xC3", "{\"command\":\"\xED\xA0\x80\"}"}) {
        EXPECT_EQ(endOf([&] { read(json); }), "abort");
        expectFatalError();
    }
}

TEST_F(ZqMessageTest, WhatIsNoJsonObjectOrArrayEndsInTheParsingAlert) {
    for (const char* json : {"{", "hello", "{\"command\":}", "{'command':'X'}", "{} {}", "3",
             "\"text\"", "null", "true", " "}) {
        SCOPED_TRACE(json);
        forget();
        memory.userInterface().alerts.clear();
        EXPECT_EQ(endOf([&] { read(json); }), "exit 1");
        expectParsingAlert();
    }
}

TEST_F(ZqMessageTest, ArrayAtTheTopLevelIsAFatalError) {
    for (const char* json : {"[]", R"([{"command":"X"}])"}) {
        EXPECT_EQ(endOf([&] { read(json); }), "abort");
        expectFatalError();
    }
}

TEST_F(ZqMessageTest, MissingCommandEndsInAnAlert) {
    EXPECT_EQ(endOf([&] { read(R"({"payload":{}})"); }), "exit 1");
    expectAlertAndExit("Malformed server message received", "Message command missing");
}

TEST_F(ZqMessageTest, CommandKeyIsCaseSensitive) {
    EXPECT_EQ(endOf([&] { read(R"({"Command":"X"})"); }), "exit 1");
    expectAlertAndExit("Malformed server message received", "Message command missing");
}

TEST_F(ZqMessageTest, CommandOfAnotherKindIsAFatalError) {
    for (const char* command : {"null", "7", "true", "[\"X\"]", "{}"}) {
        SCOPED_TRACE(command);
        EXPECT_EQ(endOf([&] { read(std::string("{\"command\":") + command + "}"); }), "abort");
        expectFatalError();
    }
}

TEST_F(ZqMessageTest, NullPayloadIsPresentAndNumericRequestIdComesBackAsANumber) {
    const auto message = read(R"({"command":"X","payload":null,"requestId":7})");
    ASSERT_TRUE(message->payload());
    EXPECT_TRUE(message->payload()->isNull());
    ASSERT_TRUE(message->requestId() && message->requestId()->as<JsonNumber>());
    EXPECT_EQ(message->requestId()->as<JsonNumber>()->literal, "7");
    EXPECT_EQ(message->getBody(), R"({"command":"X","payload":null,"requestId":7})");
}

TEST_F(ZqMessageTest, MissingRequestIdBecomesEmptyText) {
    EXPECT_EQ(
        read(R"({"command":"X"})")->getBody(), R"({"command":"X","payload":null,"requestId":""})");
}

TEST_F(ZqMessageTest, NullRequestIdStaysNull) {
    const auto message = read(R"({"command":"X","requestId":null})");
    ASSERT_TRUE(message->requestId());
    EXPECT_TRUE(message->requestId()->isNull());
}

TEST_F(ZqMessageTest, FurtherKeysAreIgnored) {
    const auto message = read(R"({"x":[1],"command":"X","sender":"s","requestID":3})");
    EXPECT_EQ(message->getBody(), R"({"command":"X","payload":null,"requestId":""})");
}

TEST_F(ZqMessageTest, LastOfRepeatedKeysCounts) {
    const auto message = read(R"({"command":1,"payload":1,"requestId":"a",)"
                              R"("\u0063ommand":"X","requestId":"b","pay\u006coad":2})");
    EXPECT_EQ(message->getBody(), R"({"command":"X","payload":2,"requestId":"b"})");
}

TEST_F(ZqMessageTest, PayloadAndRequestIdOfAnyKindComeBackEqual) {
    const char* const values[] = {"null", "true", "false", "0", "-1", "9223372036854775807",
        "-9223372036854775808", "18446744073709551615", "0.1", "-2.50", "1E5", "1e-7", "\"\"",
        "\"r1\"", "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"", R"("\"\\\n\u0000\u001f")", "[]", "{}",
        R"([1,"a",null,[true,{}]])", R"({"a":{"b":[1.0,2]},"c":"d"})"};
    for (const char* value : values) {
        SCOPED_TRACE(value);
        const std::string json = std::string(R"({"command":"X","payload":)") + value
            + R"(,"requestId":)" + value + "}";
        EXPECT_EQ(read(json)->getBody(), json);
    }
    expectSilence();
}

TEST_F(ZqMessageTest, EscapedTextIsReadAsItsCharacters) {
    const auto message = read(R"({"command":"\u0053IGN\u005fPDF","requestId":"\ud83d\ude00\/"})");
    EXPECT_EQ(message->command(), "SIGN_PDF");
    EXPECT_EQ(*message->requestId()->as<JsonText>(), "\xF0\x9F\x98\x80/");
}

TEST_F(ZqMessageTest, JsonIsReadDownTo512Levels) {
    const std::string beginning = R"({"command":"X","payload":)";
    const std::string json = beginning + nestedArrays(511) + R"(,"requestId":null})";
    EXPECT_EQ(read(json)->getBody(), json);
    EXPECT_EQ(endOf([&] { read(beginning + nestedArrays(512) + "}"); }), "exit 1");
    expectParsingAlert();
}

TEST_F(ZqMessageTest, AbsentPayloadAndRequestIdAreWrittenAsNull) {
    const ZqMessage message("CLIENT_CONNECT", std::nullopt, std::nullopt);
    EXPECT_EQ(message.getBody(), R"({"command":"CLIENT_CONNECT","payload":null,"requestId":null})");
    expectSilence();
}

TEST_F(ZqMessageTest, BodyIsCompactAndWrittenAnewEachTime) {
    const ZqMessage message(
        "A \"B\"", JsonObject{{"os", "macOS"}, {"version", "13.6.0"}}, JsonValue(std::int64_t{12}));
    const char* const expected
        = R"({"command":"A \"B\"","payload":{"os":"macOS","version":"13.6.0"},"requestId":12})";
    EXPECT_EQ(message.getBody(), expected);
    EXPECT_EQ(message.getBody(), expected);
}

TEST_F(ZqMessageTest, EnvelopeThatJsonCannotExpressEndsInAnAlert) {
    const JsonValue infinite(std::numeric_limits<double>::infinity());
    const std::optional<JsonValue> none;
    for (const auto& [payload, requestId] :
        {std::pair(std::optional(infinite), none), std::pair(none, std::optional(infinite))}) {
        forget();
        const ZqMessage message("X", payload, requestId);
        EXPECT_EQ(endOf([&] { message.getBody(); }), "exit 1");
        expectAlertAndExit(
            "Error serializing message", "Invalid number value (not finite) in JSON write.");
    }
}
