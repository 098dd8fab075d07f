// SPDX-License-Identifier: MIT
#include "platform/Types.h"

#include "tests/support/ScriptedKeychain.h"

#include <gtest/gtest.h>

using namespace platform;

TEST(PropertyDictionary, KeepsEntriesInTheOrderInWhichTheyWereSet) {
    PropertyDictionary dictionary{{"b", 1}, {"a", "x"}};
    dictionary.set("c", true);
    ASSERT_EQ(dictionary.entries().size(), 3U);
    EXPECT_EQ(dictionary.entries()[0].first, "b");
    EXPECT_EQ(dictionary.entries()[1].first, "a");
    EXPECT_EQ(dictionary.entries()[2].first, "c");
}

TEST(PropertyDictionary, KeyOccursOnceAndTheLastValueStays) {
    PropertyDictionary dictionary{{"a", 1}, {"b", 2}, {"a", 3}};
    dictionary.set("b", "text");
    ASSERT_EQ(dictionary.entries().size(), 2U);
    EXPECT_EQ(dictionary.entries()[0].first, "a");
    EXPECT_EQ(*dictionary.find("a")->as<std::int64_t>(), 3);
    EXPECT_EQ(*dictionary.find("b")->as<std::string>(), "text");
}

TEST(PropertyDictionary, KeysAreFoundExactly) {
    const PropertyDictionary dictionary{{"Key", 1}, {"", 2}};
    EXPECT_EQ(dictionary.find("key"), nullptr);
    EXPECT_EQ(dictionary.find("Ke"), nullptr);
    EXPECT_EQ(*dictionary.find("")->as<std::int64_t>(), 2);
    EXPECT_EQ(PropertyDictionary().find("Key"), nullptr);
}

TEST(PropertyValue, IsReadAsItsOwnTypeOnly) {
    const PropertyValue text("t");
    EXPECT_NE(text.as<std::string>(), nullptr);
    EXPECT_EQ(text.as<Bytes>(), nullptr);
    EXPECT_EQ(text.as<bool>(), nullptr);
    const PropertyValue truth(true);
    EXPECT_NE(truth.as<bool>(), nullptr);
    EXPECT_EQ(truth.as<std::int64_t>(), nullptr);
    const PropertyValue number(5);
    EXPECT_NE(number.as<std::int64_t>(), nullptr);
    EXPECT_EQ(number.as<bool>(), nullptr);
    const SecKeyRef key = std::make_shared<NamedObject<SecKey>>("k");
    const PropertyValue object(key);
    EXPECT_NE(object.as<SecKeyRef>(), nullptr);
    EXPECT_EQ(object.as<SecIdentityRef>(), nullptr);
}

TEST(PropertyValue, DescribesItselfReadably) {
    const SecKeyRef key = std::make_shared<NamedObject<SecKey>>("k");
    const std::pair<PropertyValue, const char*> cases[] = {
        {true, "true"},
        {false, "false"},
        {-7, "-7"},
        {"text", "\"text\""},
        {Bytes{1, 2}, "2 bytes"},
        {PropertyArray(), "()"},
        {PropertyArray{1, "a"}, "(1, \"a\")"},
        {PropertyDictionary(), "{}"},
        {PropertyDictionary{{"a", 1}, {"b", PropertyArray{true}}}, "{a = 1; b = (true)}"},
        {key, "<k>"},
        {SecKeyRef(), "null"},
    };
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(value.description(), expected);
    }
}

TEST(FourCharCode, PacksItsFirstCharacterHighest) {
    EXPECT_EQ(fourCharCode("GURL"), 0x4755524CU);
    EXPECT_EQ(fourCharCode("----"), 0x2D2D2D2DU);
}
