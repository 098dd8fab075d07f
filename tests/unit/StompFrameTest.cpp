// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompFrame.h"

#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace stomp;
using testing::HasSubstr;

namespace {

constexpr Version allVersions[] = {Version::v1_0, Version::v1_1, Version::v1_2};

/// What came of a stream: the frames, one text each, and the error or nothing.
struct Decoded {
    std::vector<std::string> frames;
    std::string error;
    bool operator==(const Decoded&) const = default;
};

/// For messages of failed tests.
std::ostream& operator<<(std::ostream& out, const Decoded& decoded) {
    return out << testing::PrintToString(decoded.frames) << " error: " << decoded.error;
}

std::string describe(const Frame& frame) {
    std::string text = frame.command;
    for (const auto& [name, value] : frame.headers.entries()) {
        text += "|" + name + "=" + value;
    }
    return text + "|" + frame.body;
}

class Stream {
public:
    explicit Stream(Version version = Version::v1_2, Limits limits = {})
        : m_decoder(limits) {
        m_decoder.setVersion(version);
    }

    Stream& feed(std::string_view input) {
        Frame frame;
        while (true) {
            switch (m_decoder.decode(input, frame)) {
            case FrameDecoder::Result::frame:
                m_decoded.frames.push_back(describe(frame));
                break;
            case FrameDecoder::Result::needMore:
                EXPECT_TRUE(input.empty());
                return *this;
            case FrameDecoder::Result::failed:
                m_decoded.error = m_decoder.error();
                return *this;
            }
        }
    }

    const Decoded& decoded() const { return m_decoded; }

private:
    FrameDecoder m_decoder;
    Decoded m_decoded;
};

Decoded decodeAll(std::string_view text, Version version = Version::v1_2, Limits limits = {}) {
    return Stream(version, limits).feed(text).decoded();
}

Decoded decodeBytewise(std::string_view text, Version version, Limits limits) {
    Stream stream(version, limits);
    for (std::size_t i = 0; i < text.size() && stream.decoded().error.empty(); ++i) {
        stream.feed(text.substr(i, 1));
    }
    return stream.decoded();
}

/// The value of the header "h" as a frame carries it.
std::optional<std::string> readValue(const std::string& wire, Version version) {
    FrameDecoder decoder;
    decoder.setVersion(version);
    const std::string text = frameText("MESSAGE\nh:" + wire);
    std::string_view input = text;
    Frame frame;
    return decoder.decode(input, frame) == FrameDecoder::Result::frame
        ? std::optional(*frame.headers.find("h"))
        : std::nullopt;
}

std::optional<std::string> writtenValue(
    const std::string& value, Version version, std::string_view command = "SEND") {
    const auto head = encodeHead(command, {{"h", value}}, version);
    if (!head) {
        return std::nullopt;
    }
    const std::size_t prefix = command.size() + 3; // line end, name, colon
    return head->substr(prefix, head->size() - prefix - 2);
}

} // namespace

TEST(StompVersion, TextsGoBothWays) {
    EXPECT_EQ(versionText(Version::v1_0), "1.0");
    EXPECT_EQ(versionText(Version::v1_1), "1.1");
    EXPECT_EQ(versionText(Version::v1_2), "1.2");
    for (const Version version : allVersions) {
        EXPECT_EQ(versionFromText(versionText(version)), version);
    }
    for (const char* text : {"", "1", "1.3", "2.0", " 1.2", "1.2 ", "1.20", "1.0,1.1"}) {
        EXPECT_FALSE(versionFromText(text)) << text;
    }
}

TEST(StompEncoding, FrameIsCommandHeadersBlankLineBodyAndNul) {
    const Frame frame{"SEND", {{"destination", "/app/a"}, {"b", ""}}, "body"};
    for (const Version version : allVersions) {
        EXPECT_EQ(encode(frame, version),
            frameText("SEND\ndestination:/app/a\nb:\ncontent-length:4", "body"));
    }
    EXPECT_EQ(encodeHead("SEND", {{"a", "b"}}, Version::v1_2), "SEND\na:b\n\n");
    EXPECT_EQ(encodeHead("SEND", {}, Version::v1_2), "SEND\n\n");
}

TEST(StompEncoding, ContentLengthCountsBytesAndIsAddedUnlessGiven) {
    EXPECT_EQ(encode({"X", {}, ""}, Version::v1_2), frameText("X\ncontent-length:0"));
    EXPECT_EQ(encode({"X", {}, "\xC3\xA9" + nul}, Version::v1_2),
        frameText("X\ncontent-length:3", "\xC3\xA9" + nul));
    EXPECT_EQ(encode({"X", {{"content-length", "1"}, {"a", "b"}}, "x"}, Version::v1_2),
        frameText("X\ncontent-length:1\na:b", "x"));
}

TEST(StompEncoding, HeaderValuesAreEscapedByVersion) {
    using Expected = std::optional<std::string>;
    const struct {
        const char* value;
        Expected v1_0, v1_1, v1_2;
    } cases[] = {
        {"plain", "plain", "plain", "plain"},
        {"a:b", "a:b", "a\\cb", "a\\cb"},
        {"a\\b", "a\\b", "a\\\\b", "a\\\\b"},
        {"a\\n", "a\\n", "a\\\\n", "a\\\\n"},
        {"a\nb", std::nullopt, "a\\nb", "a\\nb"},
        {"a\rb", std::nullopt, std::nullopt, "a\\rb"},
        {" a ", " a ", " a ", " a "},
        {"\xC3\xA9", "\xC3\xA9", "\xC3\xA9", "\xC3\xA9"},
    };
    for (const auto& [value, v1_0, v1_1, v1_2] : cases) {
        SCOPED_TRACE(value);
        EXPECT_EQ(writtenValue(value, Version::v1_0), v1_0);
        EXPECT_EQ(writtenValue(value, Version::v1_1), v1_1);
        EXPECT_EQ(writtenValue(value, Version::v1_2), v1_2);
    }
}

TEST(StompEncoding, HeaderNamesAreEscapedToo) {
    EXPECT_EQ(encodeHead("X", {{"a:b\\", "v"}}, Version::v1_2), "X\na\\cb\\\\:v\n\n");
    EXPECT_FALSE(encodeHead("X", {{"a:b", "v"}}, Version::v1_0));
    EXPECT_FALSE(encodeHead("X", {{"a\nb", "v"}}, Version::v1_0));
}

TEST(StompEncoding, ConnectAndConnectedAreNeverEscaped) {
    for (const char* command : {"CONNECT", "CONNECTED"}) {
        for (const Version version : allVersions) {
            EXPECT_EQ(writtenValue("a:\\b", version, command), "a:\\b");
            EXPECT_FALSE(writtenValue("a\nb", version, command));
            EXPECT_FALSE(writtenValue("a\rb", version, command));
            EXPECT_FALSE(encodeHead(command, {{"a:b", "v"}}, version));
        }
    }
}

TEST(StompEncoding, WhatNoVersionCanExpressIsRefused) {
    for (const Version version : allVersions) {
        EXPECT_FALSE(encodeHead("SEND", {{"h", "a" + nul}}, version));
        EXPECT_FALSE(encodeHead("SEND", {{"a" + nul, "v"}}, version));
        EXPECT_FALSE(encodeHead("SEND", {{"", "v"}}, version));
        EXPECT_FALSE(encodeHead("CONNECT", {{"h", "a" + nul}}, version));
        EXPECT_FALSE(encode({"SEND", {{"h", "a" + nul}}, "body"}, version));
    }
}

TEST(StompEncoding, CommandMustBeOneLine) {
    const std::string commands[] = {"", "A\r", "A\nh:v", "A" + nul};
    for (const std::string& command : commands) {
        for (const Version version : allVersions) {
            EXPECT_FALSE(encodeHead(command, {}, version)) << command;
            EXPECT_FALSE(encode({command, {}, "body"}, version)) << command;
        }
    }
}

TEST(StompDecoding, FrameIsTakenApart) {
    EXPECT_EQ(
        decodeAll(frameText("MESSAGE\na:b\nc:", "body")), (Decoded{{"MESSAGE|a=b|c=|body"}, ""}));
    EXPECT_EQ(decodeAll(frameText("RECEIPT")), (Decoded{{"RECEIPT|"}, ""}));
    EXPECT_EQ(decodeAll(frameText("MESSAGE", "two\nlines\n\n")),
        (Decoded{{"MESSAGE|two\nlines\n\n"}, ""}));
}

TEST(StompDecoding, LinesMayEndInCarriageReturnAndLineFeed) {
    EXPECT_EQ(decodeAll("MESSAGE\r\na:b\r\nc:d\n\r\nbody\r\n" + nul + "\r\nX\n\n" + nul),
        (Decoded{{"MESSAGE|a=b|c=d|body\r\n", "X|"}, ""}));
}

TEST(StompDecoding, OnlyTheLineEndLosesItsCarriageReturn) {
    EXPECT_EQ(readValue("a\rb", Version::v1_2), "a\rb");
    EXPECT_EQ(readValue("a\r\r", Version::v1_2), "a\r");
}

TEST(StompDecoding, HeaderValuesAreUnescapedByVersion) {
    using Expected = std::optional<std::string>;
    const struct {
        const char* wire;
        Expected v1_0, v1_1, v1_2;
    } cases[] = {
        {"plain", "plain", "plain", "plain"},
        {"a:b:c", "a:b:c", "a:b:c", "a:b:c"},
        {"a\\cb", "a\\cb", "a:b", "a:b"},
        {"a\\nb", "a\\nb", "a\nb", "a\nb"},
        {"a\\\\b", "a\\\\b", "a\\b", "a\\b"},
        {"a\\rb", "a\\rb", std::nullopt, "a\rb"},
        {"a\\\\nb", "a\\\\nb", "a\\nb", "a\\nb"}, // decoded once, not twice
        {"a\\\\\\cb", "a\\\\\\cb", "a\\:b", "a\\:b"},
        {"a\\tb", "a\\tb", std::nullopt, std::nullopt},
        {"a\\Nb", "a\\Nb", std::nullopt, std::nullopt},
        {"a\\", "a\\", std::nullopt, std::nullopt},
        {" a ", " a ", " a ", " a "},
    };
    for (const auto& [wire, v1_0, v1_1, v1_2] : cases) {
        SCOPED_TRACE(wire);
        EXPECT_EQ(readValue(wire, Version::v1_0), v1_0);
        EXPECT_EQ(readValue(wire, Version::v1_1), v1_1);
        EXPECT_EQ(readValue(wire, Version::v1_2), v1_2);
    }
}

TEST(StompDecoding, HeaderNamesAreUnescapedToo) {
    EXPECT_EQ(decodeAll(frameText("X\na\\cb:v")), (Decoded{{"X|a:b=v|"}, ""}));
    EXPECT_EQ(
        decodeAll(frameText("X\na\\tb:v")).error, "a header line holds an unknown escape sequence");
}

TEST(StompDecoding, ConnectedIsNeverUnescaped) {
    for (const Version version : allVersions) {
        EXPECT_EQ(decodeAll(frameText("CONNECTED\nserver:a\\cb\\t"), version),
            (Decoded{{"CONNECTED|server=a\\cb\\t|"}, ""}));
    }
}

TEST(StompDecoding, VersionAppliesToTheFramesToCome) {
    FrameDecoder decoder;
    const std::string text = frameText("X\nh:a\\cb") + frameText("X\nh:a\\cb");
    std::string_view input = text;
    Frame frame;
    ASSERT_EQ(decoder.decode(input, frame), FrameDecoder::Result::frame);
    EXPECT_EQ(*frame.headers.find("h"), "a:b");
    EXPECT_EQ(input, frameText("X\nh:a\\cb")); // the rest is left
    decoder.setVersion(Version::v1_0);
    ASSERT_EQ(decoder.decode(input, frame), FrameDecoder::Result::frame);
    EXPECT_EQ(*frame.headers.find("h"), "a\\cb");
    EXPECT_EQ(decoder.decode(input, frame), FrameDecoder::Result::needMore);
}

TEST(StompDecoding, FirstOfRepeatedHeadersCounts) {
    FrameDecoder decoder;
    const std::string text
        = frameText("X\na:1\nb:2\na:3\ncontent-length:2\ncontent-length:9", "xy");
    std::string_view input = text;
    Frame frame;
    ASSERT_EQ(decoder.decode(input, frame), FrameDecoder::Result::frame);
    EXPECT_EQ(*frame.headers.find("a"), "1");
    EXPECT_EQ(frame.headers.find("A"), nullptr);
    EXPECT_EQ(frame.headers.entries().size(), 5U);
    EXPECT_EQ(frame.body, "xy");
}

TEST(StompDecoding, ContentLengthAllowsNulsInTheBody) {
    EXPECT_EQ(decodeAll(frameText("X\ncontent-length:3", "a" + nul + "b") + frameText("Y")),
        (Decoded{{"X|content-length=3|a" + nul + "b", "Y|"}, ""}));
    EXPECT_EQ(decodeAll(frameText("X\ncontent-length:0")), (Decoded{{"X|content-length=0|"}, ""}));
}

TEST(StompDecoding, WithoutContentLengthTheBodyEndsAtTheFirstNul) {
    EXPECT_EQ(decodeAll(frameText("X", "a" + nul + "Y\n\n")), (Decoded{{"X|a", "Y|"}, ""}));
}

TEST(StompDecoding, FrameMustEndWhereItsContentLengthSays) {
    for (const char* body : {"abcd", "abc\n"}) {
        EXPECT_EQ(decodeAll(frameText("X\ncontent-length:3", body)),
            (Decoded{{}, "a frame does not end where its content-length says"}));
    }
    EXPECT_EQ(decodeAll(frameText("X\ncontent-length:4", "abc")), (Decoded{})); // awaits more
}

TEST(StompDecoding, ContentLengthMustBeANumber) {
    for (const char* length : {"", "-1", "+1", " 1", "1 ", "0x1", "1a", "1.0", "one"}) {
        EXPECT_EQ(decodeAll(frameText(std::string("X\ncontent-length:") + length, "a")),
            (Decoded{{}, "the content-length of a frame is not a number"}))
            << length;
    }
    EXPECT_EQ(decodeAll(frameText("X\ncontent-length:0001", "a")),
        (Decoded{{"X|content-length=0001|a"}, ""}));
}

TEST(StompDecoding, LineEndsBetweenFramesAreSkipped) {
    EXPECT_EQ(decodeAll("\n\n" + frameText("X") + "\n\r\n\n" + frameText("Y") + "\n"),
        (Decoded{{"X|", "Y|"}, ""}));
    EXPECT_EQ(decodeAll("\n"), Decoded{});
    EXPECT_EQ(decodeAll(""), Decoded{});
}

TEST(StompDecoding, StreamMayBeCutAnywhere) {
    const std::string text = "\n" + connectedText()
        + "MESSAGE\r\na\\cb:c\\n\\\\d\r\na:second\r\ncontent-length:5\r\n\r\nx" + nul + "\n" + nul
        + "y" + nul + "\r\n" + frameText("MESSAGE\nq:", "body \xC3\xA9\n") + "\n" + frameText("Z");
    const Decoded expected{
        {"CONNECTED|version=1.2|",
            "MESSAGE|a:b=c\n\\d|a=second|content-length=5|x" + nul + "\n" + nul + "y",
            "MESSAGE|q=|body \xC3\xA9\n", "Z|"},
        ""};
    EXPECT_EQ(decodeAll(text), expected);
    EXPECT_EQ(decodeBytewise(text, Version::v1_2, {}), expected);
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); second += 7) {
            Stream stream;
            stream.feed(text.substr(0, first));
            stream.feed(text.substr(first, second - first));
            stream.feed(text.substr(second));
            ASSERT_EQ(stream.decoded(), expected) << first << " " << second;
        }
    }
}

TEST(StompDecoding, HeaderLineMustBeNameColonValue) {
    for (const char* line : {"a", ":a", ":", " "}) {
        EXPECT_EQ(decodeAll(frameText(std::string("X\n") + line)),
            (Decoded{{}, "a header line is not of the form name:value"}))
            << line;
    }
}

TEST(StompDecoding, NulBeforeTheEndOfTheHeadersIsRefused) {
    for (const std::string& text : {nul, "X" + nul, "X\n" + nul, "X\na:b" + nul + "c\n\n" + nul}) {
        EXPECT_EQ(decodeAll(text), (Decoded{{}, "a frame ends before its headers do"}));
    }
}

TEST(StompDecoding, FailureIsFinalAndKeepsTheFramesBefore) {
    Stream stream;
    stream.feed(frameText("X") + frameText("Y\nbad"));
    const Decoded expected{{"X|"}, "a header line is not of the form name:value"};
    EXPECT_EQ(stream.decoded(), expected);
    EXPECT_EQ(stream.feed(frameText("Z")).decoded(), expected);
}

TEST(StompDecoding, WhatIsEncodedIsDecodedAgain) {
    std::string everyByte;
    for (int value = 1; value < 256; ++value) {
        everyByte += static_cast<char>(value);
    }
    const Frame frame{
        "MESSAGE", {{everyByte, everyByte}, {"a", "\\n\\\\c"}}, everyByte + nul + nul};
    const auto text = encode(frame, Version::v1_2);
    ASSERT_TRUE(text);
    Frame expected = frame;
    expected.headers.add("content-length", std::to_string(frame.body.size()));
    EXPECT_EQ(decodeAll(*text), (Decoded{{describe(expected)}, ""}));
}

TEST(StompLimits, DefaultsAreThoseOfAUsefulServer) {
    EXPECT_EQ(Limits().headerLine, 8192U);
    EXPECT_EQ(Limits().headers, 65536U);
    EXPECT_EQ(Limits().body, 268435456U);
}

namespace {

constexpr Limits smallLimits{.headerLine = 10, .headers = 24, .body = 5};

struct LimitCase {
    const char* name;
    std::string fits;
    std::string exceeds;
    const char* error;
};

std::vector<LimitCase> limitCases() {
    const char* const line = "a header line is longer than 10 bytes";
    const char* const headers = "the headers of a frame are larger than 24 bytes";
    const char* const body = "the body of a frame is larger than 5 bytes";
    return {
        {"header line", frameText("X\na:34567890"), frameText("X\na:345678901"), line},
        {"header line with CRLF", "X\r\na:34567890\r\n\r\n" + nul, "X\r\na:345678901\r\n\r\n" + nul,
            line},
        {"command", frameText("1234567890"), frameText("12345678901"), line},
        {"line that never ends", "X\na:34567890", "X\na:345678901", line},
        {"all headers", frameText("X\na:34567\nb:34567\nc:34567"),
            frameText("X\na:34567\nb:34567\nc:345678"), headers},
        {"many headers", frameText("X\na:\nb:\nc:\nd:\ne:\nf:\ng:\nh:"),
            frameText("X\na:\nb:\nc:\nd:\ne:\nf:\ng:\nh:\ni:"), headers},
        {"body", frameText("X", "12345"), frameText("X", "123456"), body},
        {"body that never ends", "X\n\n12345", "X\n\n123456", body},
    };
}

} // namespace

TEST(StompLimits, WhatReachesALimitFitsAndWhatIsOverFails) {
    for (const LimitCase& limit : limitCases()) {
        SCOPED_TRACE(limit.name);
        for (const auto& decode : {+[](std::string_view text, Version version, Limits limits) {
                                       return decodeAll(text, version, limits);
                                   },
                 +decodeBytewise}) {
            EXPECT_EQ(decode(limit.fits, Version::v1_2, smallLimits).error, "");
            EXPECT_EQ(decode(limit.exceeds, Version::v1_2, smallLimits).error, limit.error);
        }
    }
}

TEST(StompLimits, AnnouncedBodyIsRefusedBeforeItComes) {
    const Limits limits{.headerLine = 100, .headers = 1000, .body = 5};
    EXPECT_EQ(decodeAll(frameText("X\ncontent-length:5", "12345"), Version::v1_2, limits),
        (Decoded{{"X|content-length=5|12345"}, ""}));
    for (const char* length : {"6", "18446744073709551615", "99999999999999999999999999"}) {
        EXPECT_EQ(
            decodeAll(std::string("X\ncontent-length:") + length + "\n\n", Version::v1_2, limits),
            (Decoded{{}, "the body of a frame is larger than 5 bytes"}));
    }
}

TEST(StompLimits, EachFrameHasItsOwnBudget) {
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += frameText("X\na:34567\nb:34567\nc:34567", "12345");
    }
    EXPECT_EQ(decodeAll(text, Version::v1_2, smallLimits).frames.size(), 10U);
}
