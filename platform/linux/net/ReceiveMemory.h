// SPDX-License-Identifier: MIT
// The memory into which messages are received. A large message comes to lie in one piece, without
// being copied, in memory that an earlier one has left: fresh pages cost more than all else. As
// long as somebody holds a part of it, all of its memory stays.
#pragma once

#include "foundation/SharedText.h"

#include <functional>
#include <memory>
#include <span>
#include <string>

namespace platform::linux_ {

/// Used on the network's thread. What it hands out may be let go on any thread.
class ReceiveMemory {
public:
    /// What is no longer is handed out as copies, for pages are had by 2 MiB.
    static constexpr std::size_t smallMessage = std::size_t{4} << 20;
    /// The most of a message that comes to lie in one piece: the largest frame and its headers.
    static constexpr std::size_t blockSize = (std::size_t{256} << 20) + (std::size_t{1} << 20);

    /// With so many large messages held, no further one should be received.
    static constexpr std::size_t mostHeld = 4;

    /// `noLongerFull` may be called on any thread, also when the ReceiveMemory has gone.
    explicit ReceiveMemory(std::function<void()> noLongerFull = [] {});
    ~ReceiveMemory();
    ReceiveMemory(const ReceiveMemory&) = delete;
    ReceiveMemory& operator=(const ReceiveMemory&) = delete;

    /// Where the next bytes are to be put; never empty.
    std::span<char> space();
    /// The bytes that were put there. `rest` more of the message are announced; 0 at its end.
    OwnedText received(std::size_t length, std::size_t rest);

    /// Whether `mostHeld` large messages are held, and none comes in.
    bool isFull() const;
    /// Whether a large message comes in.
    bool holdsPart() const { return m_block != nullptr; }

    /// Gives the memory that no message uses back to the system; false when some is still used.
    bool releaseUnused();

private:
    class Pool;
    struct Block;

    std::shared_ptr<Pool> m_pool;
    std::string m_first; // the first bytes of a message
    std::shared_ptr<Block> m_block; // while a large message comes in
    std::size_t m_fill = 0; // of the block
};

} // namespace platform::linux_
