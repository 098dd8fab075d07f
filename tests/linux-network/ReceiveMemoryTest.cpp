// SPDX-License-Identifier: MIT
#include "platform/linux/net/ReceiveMemory.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
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

/// The memory of this process, in bytes: its addresses, and what of it is in use.
std::pair<std::size_t, std::size_t> memorySizes() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    EXPECT_GT(resident, 0U);
    return {all * page, resident * page};
}
std::size_t virtualSize() {
    return memorySizes().first;
}
std::size_t residentSize() {
    return memorySizes().second;
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
    constexpr std::size_t size = std::size_t{8} << 20;
    const char* const place = receiveLarge(size).data();
    EXPECT_EQ(receiveLarge(size).data(), place);
    OwnedText held = receiveLarge(size);
    EXPECT_NE(receiveLarge(size).data(), held.data());
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

TEST_F(ReceiveMemoryTest, MessagesOfMiddleSizeTakeTheirOwnMemoryAlone) {
    const std::size_t before = residentSize();
    constexpr std::size_t size = std::size_t{66} << 10;
    const std::string piece(size / 2, 'x');
    std::vector<OwnedText> held;
    for (int i = 0; i < 100; ++i) {
        held.push_back(receive(piece, size / 2));
        held.push_back(receive(piece, 0));
    }
    EXPECT_LE(residentSize(), before + 2 * 100 * size);
}

TEST(ReceiveMemory, IsFullWithFourLargeMessagesHeldUntilOneIsLetGo) {
    int times = 0;
    auto memory = std::make_unique<ReceiveMemory>([&] { ++times; });
    const auto receive = [&](std::size_t rest) { return memory->received(1, rest); };
    std::vector<OwnedText> held;
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(memory->isFull());
        held.push_back(receive(ReceiveMemory::smallMessage + 1));
        EXPECT_FALSE(memory->isFull()); // this one may go on
        receive(0);
    }
    EXPECT_TRUE(memory->isFull());
    EXPECT_EQ(times, 0);
    held.pop_back();
    EXPECT_FALSE(memory->isFull());
    EXPECT_EQ(times, 1);
    held.pop_back();
    EXPECT_EQ(times, 1);
    memory.reset();
    held.clear();
    EXPECT_EQ(times, 1);
}

TEST_F(ReceiveMemoryTest, WithoutRoomForALargeMessageItIsHandedOutAsCopies) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit tight = before;
    tight.rlim_cur = virtualSize() + (std::size_t{64} << 20);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    OwnedText first = receive("one", large);
    OwnedText second = receive("two", 0);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_FALSE(first.takeOverNext(second));
    EXPECT_EQ(first.view(), "one");
    EXPECT_EQ(second.view(), "two");
    EXPECT_TRUE(memory.releaseUnused());
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
