// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompFrame.h"

#include "tests/support/StompStream.h"

using namespace stomp;

TEST(StompLimits, DefaultsAreThoseOfAUsefulServer) {
    EXPECT_EQ(Limits().headerLine, 65536U);
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
