// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryDispatch.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <dispatch/dispatch.h>
#include <mutex>

namespace {

struct Semaphore : dispatch_semaphore_s {
    explicit Semaphore(std::intptr_t initialValue)
        : value(initialValue)
        , bornWith(initialValue) { }
    std::mutex mutex;
    std::condition_variable changed;
    std::intptr_t value;
    const std::intptr_t bornWith;
};

struct Call {
    dispatch_function_t function;
    void* context;
};

std::mutex mainQueueMutex;
std::deque<Call> mainQueue;
dispatch_queue_main_s mainQueueObject;
std::atomic<int> calls = 0;
std::atomic<int> signals = 0;
std::atomic<int> waits = 0;
std::atomic<int> semaphores = 0;

} // namespace

namespace memory {

void drainMainQueue() {
    std::unique_lock lock(mainQueueMutex);
    while (!mainQueue.empty()) {
        const Call call = mainQueue.front();
        mainQueue.pop_front();
        lock.unlock();
        call.function(call.context);
        lock.lock();
    }
}

int mainQueueCalls() {
    return calls;
}

int semaphoreSignals() {
    return signals;
}

int semaphoreWaits() {
    return waits;
}

int liveSemaphores() {
    return semaphores;
}

} // namespace memory

dispatch_queue_main_t dispatch_get_main_queue() {
    return &mainQueueObject;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    if (queue != &mainQueueObject) {
        std::abort(); // there is no other queue here
    }
    const std::lock_guard lock(mainQueueMutex);
    mainQueue.push_back({work, context});
    ++calls;
}

dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value) {
    ++semaphores;
    return new Semaphore(value);
}

std::intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout) {
    if (timeout != DISPATCH_TIME_FOREVER) {
        std::abort(); // nothing here waits for a time
    }
    auto* const counter = static_cast<Semaphore*>(semaphore);
    std::unique_lock lock(counter->mutex);
    ++waits;
    counter->changed.wait(lock, [counter] { return counter->value > 0; });
    --counter->value;
    return 0;
}

std::intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
    auto* const counter = static_cast<Semaphore*>(semaphore);
    const std::lock_guard lock(counter->mutex);
    ++counter->value;
    ++signals;
    counter->changed.notify_one();
    return 0;
}

void dispatch_release(dispatch_object_t object) {
    auto* const counter = static_cast<Semaphore*>(object);
    if (counter->value < counter->bornWith) {
        std::abort(); // as the platform does
    }
    --semaphores;
    delete counter;
}
