// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompFrame.h"

#include "tests/support/StompStream.h"

using namespace stomp;

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
