// SPDX-License-Identifier: MIT
// Core Foundation's values as the program's own.
#include "platform/macos/PropertyList.h"

#include "tests/macos/MemoryKeychainTest.h"

namespace platform {

namespace {

using memory::makeArray;
using memory::makeData;
using memory::makeDictionary;
using memory::makeNumber;
using memory::makeString;

class PropertyListTest : public MemoryKeychainTest {
protected:
    /// The value of an object that is released afterwards.
    static PropertyValue valueOf(CFTypeRef object) {
        const Owned<CFTypeRef> owned(object);
        return propertyValueOf(object);
    }
    static std::string textOfValue(std::u16string_view utf16) {
        return *valueOf(makeString(utf16)).as<std::string>();
    }
};

TEST_F(PropertyListTest, TextsBecomeUtf8) {
    EXPECT_EQ(textOfValue(u""), "");
    EXPECT_EQ(textOfValue(u"Example Signer"), "Example Signer");
    EXPECT_EQ(textOfValue(u"J\u00fcrgen \u20ac \U0001f511"), "Jürgen € 🔑");
}

TEST_F(PropertyListTest, TextsMayHoldNul) {
    EXPECT_EQ(textOfValue(std::u16string_view(u"a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(PropertyListTest, UnpairedSurrogatesBecomeQuestionMarks) {
    const char16_t text[] = {u'a', 0xD83D, u'b', 0xDD11};
    EXPECT_EQ(textOfValue({text, 4}), "a?b?");
}

TEST_F(PropertyListTest, DataBecomesBytes) {
    EXPECT_EQ(*valueOf(makeData(std::string_view("\x30\x00\xff", 3))).as<Bytes>(),
        (Bytes{0x30, 0x00, 0xff}));
    EXPECT_TRUE(valueOf(makeData("")).as<Bytes>()->empty());
}

TEST_F(PropertyListTest, TruthValuesAreNoNumbers) {
    EXPECT_TRUE(*propertyValueOf(kCFBooleanTrue).as<bool>());
    EXPECT_FALSE(*propertyValueOf(kCFBooleanFalse).as<bool>());
}

TEST_F(PropertyListTest, WholeNumbersAreNumbersOthersTheirDescription) {
    EXPECT_EQ(*valueOf(makeNumber(-7)).as<std::int64_t>(), -7);
    EXPECT_EQ(*valueOf(makeNumber(5000000000.0)).as<std::int64_t>(), 5000000000);
    EXPECT_EQ(*valueOf(makeNumber(5000000000.75)).as<std::string>(), "number");
}

TEST_F(PropertyListTest, ListsKeepTheirOrder) {
    const PropertyValue value = valueOf(makeArray({makeString(u"b"), makeString(u"a")}));
    EXPECT_EQ(value.description(), R"(("b", "a"))");
    EXPECT_TRUE(valueOf(makeArray({})).as<PropertyArray>()->empty());
}

TEST_F(PropertyListTest, DictionariesKeepTheirOrderAndNest) {
    const PropertyValue value = valueOf(makeDictionary({
        {makeString(u"z"), makeArray({makeDictionary({{makeString(u"k"), makeData("12")}})})},
        {makeString(u"a"), makeString(u"text")},
    }));
    EXPECT_EQ(value.description(), R"({z = ({k = 2 bytes}); a = "text"})");
}

TEST_F(PropertyListTest, EntriesWhoseKeyIsNoTextAreLeftOut) {
    const PropertyValue value = valueOf(makeDictionary(
        {{makeNumber(1), makeString(u"one")}, {makeString(u"two"), makeString(u"2")}}));
    EXPECT_EQ(value.description(), R"({two = "2"})");
}

TEST_F(PropertyListTest, OtherObjectsBecomeTheirDescription) {
    EXPECT_EQ(*valueOf(memory::makeDate()).as<std::string>(), "2026-01-01 00:00:00 +0000");
}

TEST_F(PropertyListTest, IdentitiesOutliveTheirList) {
    const PropertyValue value = valueOf(makeArray({memory::makeIdentity({.name = "Alice"})}));
    const auto& identity = *value.as<PropertyArray>()->at(0).as<SecIdentityRef>();
    EXPECT_EQ(identity->description(), "<identity Alice>");
}

} // namespace

} // namespace platform
