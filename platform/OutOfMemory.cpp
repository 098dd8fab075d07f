// SPDX-License-Identifier: MIT
#include "platform/OutOfMemory.h"

#include "platform/Platform.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace platform {

namespace {

constexpr std::size_t reserveSize = std::size_t{1} << 20; // bytes

std::vector<char>& reserve() {
    static std::vector<char> bytes;
    return bytes;
}

void memoryRanOut() {
    static std::atomic<std::thread::id> first{};
    auto none = std::thread::id();
    const auto self = std::this_thread::get_id();
    if (!first.compare_exchange_strong(none, self)) {
        while (none != self) { // another thread's last line is being written
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
        std::abort(); // not even for that line
    }
    std::vector<char>().swap(reserve());
    NSLog("Fatal error: ", "this computer has no memory left");
    std::abort(); // what is to be sent would need memory
}

} // namespace

void endWhenMemoryRunsOut() {
    reserve().reserve(reserveSize); // untouched: address space is what runs out
    std::set_new_handler(memoryRanOut);
}

} // namespace platform
