// SPDX-License-Identifier: MIT
#include "platform/macos/MacPlatform.h"

#include <dispatch/dispatch.h>

namespace platform {

namespace {

/// Never destroyed: other threads may post until the process has ended.
class DispatchQueue final : public WorkQueue {
public:
    explicit DispatchQueue(dispatch_queue_t queue)
        : m_queue(queue) { }

    void post(Work work) override {
        dispatch_async_f(m_queue, new Work(std::move(work)), runAndDelete);
    }
    void postAfter(std::chrono::nanoseconds delay, Work work) override {
        dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, delay.count()), m_queue,
            new Work(std::move(work)), runAndDelete);
    }

private:
    static void runAndDelete(void* context) {
        const std::unique_ptr<Work> work(static_cast<Work*>(context));
        (*work)();
    }

    const dispatch_queue_t m_queue;
};

/// libdispatch lets no semaphore die with a lower value than it was made with, so all begin at 0.
class DispatchSemaphore final : public Semaphore {
public:
    ~DispatchSemaphore() override { dispatch_release(m_semaphore); }
    void wait() override { dispatch_semaphore_wait(m_semaphore, DISPATCH_TIME_FOREVER); }
    void signal() override { dispatch_semaphore_signal(m_semaphore); }

private:
    const dispatch_semaphore_t m_semaphore = dispatch_semaphore_create(0);
};

} // namespace

WorkQueue& mainDispatchQueue() {
    static auto& queue = *new DispatchQueue(dispatch_get_main_queue());
    return queue;
}

WorkQueue& networkDispatchQueue() {
    static auto& queue = *new DispatchQueue(dispatch_queue_create("com.quillet.ZqMacClient.network",
        DISPATCH_QUEUE_SERIAL_WITH_AUTORELEASE_POOL)); // each item its own
    return queue;
}

std::unique_ptr<Semaphore> makeDispatchSemaphore() {
    return std::make_unique<DispatchSemaphore>();
}

} // namespace platform
