// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompFrame.h"

#include "tests/support/StompStream.h"

using namespace stomp;

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
