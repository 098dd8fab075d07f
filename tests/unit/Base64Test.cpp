// SPDX-License-Identifier: MIT
#include "foundation/Base64.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

std::optional<std::string> decodedText(std::string_view text) {
    const auto bytes = base64Decoded(text);
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
}

bool isInAlphabet(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+'
        || c == '/';
}

} // namespace

TEST(Base64, StandardVectorsHoldBothWays) {
    const std::pair<const char*, const char*> vectors[] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="},
        {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
        {"[]", "W10="}, {"\xFB\xEF\xFF", "++//"}};
    for (const auto& [plain, coded] : vectors) {
        EXPECT_EQ(base64Encoded(bytesOf(plain)), coded);
        EXPECT_EQ(decodedText(coded), plain);
    }
}

TEST(Base64, EveryByteAtEveryPlaceComesBack) {
    for (std::size_t length = 1; length <= 4; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (int value = 0; value < 256; ++value) {
                Bytes data(length, 0xA5);
                data[place] = static_cast<std::uint8_t>(value);
                EXPECT_EQ(base64Decoded(base64Encoded(data)), data);
            }
        }
    }
}

TEST(Base64, EveryLengthComesBackWithoutLineBreaks) {
    Bytes data;
    for (int length = 0; length < 300; ++length) {
        const std::string text = base64Encoded(data);
        EXPECT_EQ(text.size(), (data.size() + 2) / 3 * 4);
        EXPECT_EQ(text.find_first_of("\r\n "), std::string::npos);
        EXPECT_EQ(base64Decoded(text), data);
        data.push_back(static_cast<std::uint8_t>(length * 37));
    }
}

TEST(Base64, CharactersOutsideTheAlphabetAreRefused) {
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        for (const std::string text : {"Zm9vYmFy", "Zm9vYmE=", "Zm9vYg=="}) {
            const std::size_t length = std::min(text.find('='), text.size());
            for (std::size_t place = 0; place < length; ++place) {
                std::string changed = text;
                changed[place] = c;
                const bool isPadding = c == '=' && changed.find('=') + 2 >= changed.size()
                    && changed.find_first_not_of('=', changed.find('=')) == std::string::npos;
                EXPECT_EQ(base64Decoded(changed).has_value(), isInAlphabet(c) || isPadding)
                    << changed;
            }
        }
    }
}

TEST(Base64, WhiteSpaceAndLineBreaksAreRefused) {
    for (const char* text : {" Zm9v", "Zm9v ", "Zm9v\n", "Zm9v\r\n", "Zm 9v", "Zm9v\nYmFy",
             "Zm9v    ", "\nZm9", "Zg==\n", "    "}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
}

TEST(Base64, PaddingMustBeRight) {
    for (const char* text : {"Z", "Zg", "Zg=", "Zm8", "Zm9vY", "Zg===", "Zm8==", "Zm9v=", "Zm9v==",
             "Zm9v====", "=", "==", "===", "====", "Z===", "=Zm8", "Z=g=", "Zg=A"}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
}

TEST(Base64, NothingMayFollowThePadding) {
    for (const char* text : {"Zg==Zm9v", "Zm8=Zm9v", "Zm8=Zm8=", "Zg==Zg=="}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
    EXPECT_FALSE(base64Decoded(std::string_view("Zm8=\0\0\0\0", 8)));
}

TEST(Base64, UrlAlphabetIsRefused) {
    EXPECT_FALSE(base64Decoded("--__"));
}

TEST(Base64, CanonicalTextIsWhatEncodingGives) {
    const std::string groups(200, 'Q'); // more than a few blocks
    for (const std::string end : {"", "QUJD", "QUI=", "QQ=="}) {
        const JsonText text(groups + end);
        EXPECT_EQ(base64Canonical(text).value().view().data(), text.view().data()) << end;
    }
    EXPECT_EQ(base64Canonical(groups + "QR=="), groups + "QQ==");
    EXPECT_EQ(base64Canonical(groups + "QUJ="), groups + "QUI=");
    for (std::size_t place = 0; place < groups.size(); ++place) {
        for (const char c : {'=', '-', '_', '.', ':', '@', '[', '`', '{', '\n', '\x80'}) {
            std::string damaged = groups + "QQ==";
            damaged[place] = c;
            EXPECT_FALSE(base64Canonical(JsonText(c == '\x80' ? "\xC2\x80QQ" : damaged)));
        }
    }
    EXPECT_FALSE(base64Canonical(groups + "QQ="));
}

TEST(Base64, UnusedBitsBeforeThePaddingAreNotLookedAt) {
    EXPECT_EQ(decodedText("Zh=="), "f");
    EXPECT_EQ(decodedText("Zm9="), "fo");
}
