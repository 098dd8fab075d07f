// SPDX-License-Identifier: MIT
#include "foundation/SharedText.h"

#include <gtest/gtest.h>

TEST(OwnedText, PartsAreTakenFromTheFront) {
    OwnedText text("headbody");
    const char* const start = text.data();
    const OwnedText head = text.takePrefix(4);
    EXPECT_EQ(head.view(), "head");
    EXPECT_EQ(head.view().data(), start);
    EXPECT_EQ(text.view(), "body");
    EXPECT_TRUE(text.takePrefix(0).empty());
}

TEST(OwnedText, NeighboursInOneMemoryAreJoined) {
    OwnedText text("abcdef");
    OwnedText first = text.takePrefix(2);
    OwnedText second = text.takePrefix(2);
    EXPECT_FALSE(first.takeOverNext(text)); // the second is between them
    EXPECT_TRUE(first.takeOverNext(second));
    EXPECT_TRUE(second.empty());
    EXPECT_TRUE(first.takeOverNext(text));
    EXPECT_EQ(first.view(), "abcdef");
}

TEST(OwnedText, TextsOfSeveralMemoriesAreNotJoined) {
    std::string memory = "abcd"; // neighbours, but nobody's
    OwnedText first(nullptr, memory.data(), 2);
    OwnedText second(nullptr, memory.data() + 2, 2);
    EXPECT_FALSE(first.takeOverNext(second));
    OwnedText other("cd");
    EXPECT_FALSE(OwnedText("ab").takeOverNext(other));
    EXPECT_EQ(other.view(), "cd");
}

TEST(OwnedText, MemoryLastsAsLongAsAnyPartOfIt) {
    const auto memory = std::make_shared<std::string>("abcd");
    const std::weak_ptr<std::string> watched = memory;
    OwnedText text(memory, memory->data(), 4);
    OwnedText part = text.takePrefix(1);
    text = {};
    EXPECT_EQ(watched.use_count(), 2); // the part, and this test
    part = {};
    EXPECT_EQ(watched.use_count(), 1);
}

TEST(SharedText, HoldersSeeTheSameMemory) {
    std::optional<SharedText> text(std::string(100, 'x'));
    const SharedText other = *text;
    EXPECT_EQ(other.view().data(), text->view().data());
    text.reset();
    EXPECT_EQ(other, std::string(100, 'x'));
}
