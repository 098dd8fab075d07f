// SPDX-License-Identifier: MIT
#include "platform/linux/net/ReceiveMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <sys/mman.h>

namespace platform::linux_ {

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t readSize = std::size_t{256} << 10;
constexpr std::size_t copiedAtOnce = std::size_t{64} << 10;

} // namespace

/// Addresses for one large message. Its pages are the system's until bytes are put there.
struct ReceiveMemory::Block {
    /// Nothing when the system has no such room.
    static std::unique_ptr<Block> make() {
        void* const mapping = mmap(nullptr, blockSize + hugePage, PROT_READ | PROT_WRITE,
            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        return mapping == MAP_FAILED ? nullptr : std::make_unique<Block>(mapping);
    }
    explicit Block(void* memory)
        : mapping(memory) {
        const auto address = reinterpret_cast<std::uintptr_t>(mapping);
        data = static_cast<char*>(mapping) + (hugePage - address % hugePage) % hugePage;
        madvise(data, blockSize, MADV_HUGEPAGE); // a wish
    }
    ~Block() { munmap(mapping, blockSize + hugePage); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    void* mapping;
    char* data;
};

/// The blocks that are in use, and one that is not.
class ReceiveMemory::Pool : public std::enable_shared_from_this<Pool> {
public:
    explicit Pool(std::function<void()> noLongerFull)
        : m_noLongerFull(std::move(noLongerFull)) { }

    /// Nothing when the system has no such room.
    std::shared_ptr<Block> take() {
        std::unique_ptr<Block> block;
        {
            const std::lock_guard lock(m_mutex);
            block = std::move(m_spare);
        }
        if (block == nullptr && (block = Block::make()) == nullptr) {
            return nullptr;
        }
        {
            const std::lock_guard lock(m_mutex);
            ++m_used;
        }
        return {block.release(),
            [pool = shared_from_this()](Block* free) { pool->give(std::unique_ptr<Block>(free)); }};
    }

    bool isFull() {
        const std::lock_guard lock(m_mutex);
        return m_used >= mostHeld;
    }

    bool releaseUnused() {
        std::unique_ptr<Block> released; // outside the lock
        const std::lock_guard lock(m_mutex);
        released = std::move(m_spare);
        return m_used == 0;
    }

private:
    void give(std::unique_ptr<Block> block) {
        bool wasFull = false;
        {
            const std::lock_guard lock(m_mutex);
            wasFull = m_used-- == mostHeld;
            m_spare.swap(block); // the former one is as warm, but one is enough
        }
        if (wasFull) {
            m_noLongerFull();
        }
    }

    const std::function<void()> m_noLongerFull;
    std::mutex m_mutex;
    std::unique_ptr<Block> m_spare;
    std::size_t m_used = 0;
};

ReceiveMemory::ReceiveMemory(std::function<void()> noLongerFull)
    : m_pool(std::make_shared<Pool>(std::move(noLongerFull)))
    , m_first(copiedAtOnce, '\0') {
}

ReceiveMemory::~ReceiveMemory() = default;

std::span<char> ReceiveMemory::space() {
    if (m_block == nullptr) {
        return m_first;
    }
    return {m_block->data + m_fill, std::min(readSize, blockSize - m_fill)};
}

OwnedText ReceiveMemory::received(std::size_t length, std::size_t rest) {
    if (m_block == nullptr) {
        m_block = rest > smallMessage ? m_pool->take() : nullptr;
        if (m_block == nullptr) {
            return m_first.substr(0, length);
        }
        std::memcpy(m_block->data, m_first.data(), length);
    }
    OwnedText text(m_block, m_block->data + m_fill, length);
    m_fill += length;
    if (rest == 0 || m_fill == blockSize) {
        m_block = nullptr;
        m_fill = 0;
    }
    return text;
}

bool ReceiveMemory::isFull() const {
    return m_block == nullptr && m_pool->isFull();
}

bool ReceiveMemory::releaseUnused() {
    return m_pool->releaseUnused();
}

} // namespace platform::linux_
