// SPDX-License-Identifier: MIT
#include "platform/linux/net/ReceiveMemory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

using platform::linux_::ReceiveMemory;

namespace {

class ReceiveMemoryTest : public testing::Test {
protected:
    OwnedText receive(std::string_view bytes, bool messageIsDone) {
        const std::span<char> space = memory.space();
        EXPECT_GE(space.size(), bytes.size());
        std::memcpy(space.data(), bytes.data(), bytes.size());
        return memory.received(bytes.size(), messageIsDone);
    }
    /// A message in pieces of 64 KiB.
    OwnedText receiveLarge(std::size_t size) {
        const std::string piece(std::size_t{64} << 10, 'x');
        OwnedText message = receive(piece, false);
        while (message.size() < size) {
            OwnedText next = receive(piece, message.size() + piece.size() >= size);
            if (!message.takeOverNext(next)) {
                ADD_FAILURE() << "a piece after " << message.size() << " bytes does not follow";
                break;
            }
        }
        return message;
    }

    ReceiveMemory memory;
};

/// The memory of this process that is in use, in bytes.
std::size_t residentSize() {
    std::size_t pages = 0;
    FILE* const file = std::fopen("/proc/self/statm", "r");
    EXPECT_EQ(std::fscanf(file, "%*u %zu", &pages), 1);
    std::fclose(file);
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

TEST_F(ReceiveMemoryTest, SmallMessagesAreCopiedOut) {
    const OwnedText first = receive("one", true);
    const OwnedText second = receive("two", true);
    EXPECT_EQ(first.view(), "one");
    EXPECT_EQ(second.view(), "two");
    EXPECT_TRUE(memory.releaseUnused());
}

TEST_F(ReceiveMemoryTest, PiecesOfAMessageFollowEachOther) {
    OwnedText first = receive("one", false);
    OwnedText second = receive("two", false);
    OwnedText last = receive("three", true);
    EXPECT_TRUE(first.takeOverNext(second));
    EXPECT_TRUE(first.takeOverNext(last));
    EXPECT_EQ(first.view(), "onetwothree");
}

TEST_F(ReceiveMemoryTest, MessagesDoNotTouchEachOther) {
    OwnedText first = receive("one", false);
    OwnedText end = receive("1", true);
    OwnedText second = receive("two", false);
    EXPECT_FALSE(first.takeOverNext(second));
    EXPECT_EQ(first.view(), "one");
    EXPECT_EQ(end.view(), "1");
    EXPECT_EQ(second.view(), "two");
}

TEST_F(ReceiveMemoryTest, MemoryThatIsFreeTakesTheNextMessage) {
    const char* const place = receiveLarge(1 << 20).data();
    EXPECT_EQ(receiveLarge(1 << 20).data(), place);
    OwnedText held = receiveLarge(1 << 20);
    EXPECT_NE(receiveLarge(1 << 20).data(), held.data());
}

TEST_F(ReceiveMemoryTest, MemoryThatNoMessageUsesIsGivenBack) {
    const std::size_t before = residentSize();
    const std::size_t size = std::size_t{64} << 20;
    OwnedText message = receiveLarge(size);
    EXPECT_GE(residentSize(), before + size / 2);
    EXPECT_FALSE(memory.releaseUnused());
    message = {};
    EXPECT_GE(residentSize(), before + size / 2); // kept for the next one
    EXPECT_TRUE(memory.releaseUnused());
    EXPECT_LE(residentSize(), before + (std::size_t{4} << 20));
}

TEST_F(ReceiveMemoryTest, AMessageMayBeLongerThanABlock) {
    std::size_t size = 0;
    const std::string piece(std::size_t{256} << 10, 'x');
    receive("start", false);
    for (std::size_t i = 0; i <= ReceiveMemory::blockSize / piece.size() + 1; ++i) {
        const std::size_t room = std::min(memory.space().size(), piece.size());
        ASSERT_GT(room, 0U);
        size += receive(std::string_view(piece).substr(0, room), false).size();
    }
    EXPECT_GT(size, ReceiveMemory::blockSize);
}

TEST_F(ReceiveMemoryTest, WhatIsHeldOutlivesTheMemory) {
    OwnedText message;
    {
        ReceiveMemory other;
        std::memcpy(other.space().data(), "text", 4);
        message = other.received(4, false);
    }
    EXPECT_EQ(message.view(), "text");
}
