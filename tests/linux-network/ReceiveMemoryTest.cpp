// SPDX-License-Identifier: MIT
#include "platform/linux/net/ReceiveMemory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

using platform::linux_::ReceiveMemory;

namespace {

class ReceiveMemoryTest : public testing::Test {
protected:
    OwnedText receive(std::string_view bytes, std::size_t rest) {
        const std::span<char> space = memory.space();
        EXPECT_GE(space.size(), bytes.size());
        std::memcpy(space.data(), bytes.data(), bytes.size());
        return memory.received(bytes.size(), rest);
    }
    /// A message in pieces of 64 KiB.
    OwnedText receiveLarge(std::size_t size) {
        const std::string piece(std::size_t{64} << 10, 'x');
        OwnedText message = receive(piece, size);
        while (message.size() < size) {
            OwnedText next = receive(piece, size - std::min(size, message.size() + piece.size()));
            if (!message.takeOverNext(next)) {
                ADD_FAILURE() << "a piece after " << message.size() << " bytes does not follow";
                break;
            }
        }
        return message;
    }

    static constexpr std::size_t large = ReceiveMemory::smallMessage + 1;
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
    const OwnedText first = receive("one", 0);
    const OwnedText second = receive("two", 0);
    EXPECT_EQ(first.view(), "one");
    EXPECT_EQ(second.view(), "two");
    EXPECT_TRUE(memory.releaseUnused());
}

TEST_F(ReceiveMemoryTest, SmallMessagesInPiecesAreCopiedOut) {
    const char* const place = memory.space().data();
    const OwnedText first = receive("one", large - 1);
    const OwnedText second = receive("two", 0);
    EXPECT_EQ(first.view(), "one");
    EXPECT_EQ(second.view(), "two");
    EXPECT_EQ(memory.space().data(), place);
    EXPECT_TRUE(memory.releaseUnused());
}

TEST_F(ReceiveMemoryTest, PiecesOfAMessageFollowEachOther) {
    OwnedText first = receive("one", large);
    OwnedText second = receive("two", large);
    OwnedText last = receive("three", 0);
    EXPECT_TRUE(first.takeOverNext(second));
    EXPECT_TRUE(first.takeOverNext(last));
    EXPECT_EQ(first.view(), "onetwothree");
}

TEST_F(ReceiveMemoryTest, MessagesDoNotTouchEachOther) {
    OwnedText first = receive("one", large);
    OwnedText end = receive("1", 0);
    OwnedText second = receive("two", large);
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
    receive("start", large);
    for (std::size_t i = 0; i <= ReceiveMemory::blockSize / piece.size() + 1; ++i) {
        const std::size_t room = std::min(memory.space().size(), piece.size());
        ASSERT_GT(room, 0U);
        size += receive(std::string_view(piece).substr(0, room), large).size();
    }
    EXPECT_GT(size, ReceiveMemory::blockSize);
}

TEST_F(ReceiveMemoryTest, WhatIsHeldOutlivesTheMemory) {
    OwnedText message;
    {
        ReceiveMemory other;
        std::memcpy(other.space().data(), "text", 4);
        message = other.received(4, ReceiveMemory::smallMessage + 1);
    }
    EXPECT_EQ(message.view(), "text");
}
