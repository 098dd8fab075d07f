// SPDX-License-Identifier: MIT
#include "tests/macos/MemoryDispatch.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <dispatch/dispatch.h>
#include <map>
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
    dispatch_queue_t queue;
};

constexpr dispatch_time_t start = 1000; // 0 is "now"
dispatch_time_t now = start;
std::multimap<dispatch_time_t, Call> later;
std::deque<Call> mainCalls;
std::deque<Call> otherCalls;
dispatch_queue_main_s mainQueue;
std::deque<dispatch_queue_s> otherQueues;
dispatch_queue_attr_s drainedQueue;
bool areQueuesDrained = true;
std::atomic<int> semaphores = 0;

void drain(std::deque<Call>& calls) {
    while (!calls.empty()) {
        const Call call = calls.front();
        calls.pop_front();
        call.function(call.context);
    }
}

} // namespace

namespace memory {

void drainMainQueue() {
    drain(mainCalls);
}

void drainOtherQueues() {
    drain(otherCalls);
}

void passTime(std::chrono::nanoseconds duration) {
    now += static_cast<dispatch_time_t>(duration.count());
    while (!later.empty() && later.begin()->first <= now) {
        const Call call = later.begin()->second;
        later.erase(later.begin());
        dispatch_async_f(call.queue, call.context, call.function);
    }
}

bool haveQueuesAnAutoreleasePoolForEachItem() {
    return areQueuesDrained;
}

int liveSemaphores() {
    return semaphores;
}

} // namespace memory

dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta) {
    return (when == DISPATCH_TIME_NOW ? now : when) + static_cast<dispatch_time_t>(delta);
}

dispatch_queue_main_t dispatch_get_main_queue() {
    return &mainQueue;
}

dispatch_queue_attr_t dispatch_queue_attr_make_with_autorelease_frequency(
    dispatch_queue_attr_t attributes, dispatch_autorelease_frequency_t frequency) {
    if (attributes != nullptr || frequency != DISPATCH_AUTORELEASE_FREQUENCY_WORK_ITEM) {
        std::abort(); // nothing here asks for another
    }
    return &drainedQueue;
}

dispatch_queue_t dispatch_queue_create(const char*, dispatch_queue_attr_t attributes) {
    areQueuesDrained = areQueuesDrained && attributes == &drainedQueue;
    return &otherQueues.emplace_back();
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    (queue == &mainQueue ? mainCalls : otherCalls).push_back({work, context, queue});
}

void dispatch_after_f(
    dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work) {
    later.emplace(when, Call{work, context, queue});
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
    counter->changed.wait(lock, [counter] { return counter->value > 0; });
    --counter->value;
    return 0;
}

std::intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
    auto* const counter = static_cast<Semaphore*>(semaphore);
    const std::lock_guard lock(counter->mutex);
    ++counter->value;
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
