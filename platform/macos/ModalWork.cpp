// SPDX-License-Identifier: MIT
#include "platform/macos/ModalWork.h"

#include <dispatch/dispatch.h>

namespace platform {

class ModalWork::ServingSemaphore : public Semaphore {
public:
    /// libdispatch lets no semaphore die with a lower value than it was made with.
    ServingSemaphore(ModalWork& modalWork, long value)
        : m_modalWork(modalWork)
        , m_semaphore(dispatch_semaphore_create(0)) {
        while (value-- > 0) {
            wakeUp();
        }
    }
    ~ServingSemaphore() override { dispatch_release(m_semaphore); }

    /// On the main thread, what is there for it is done first. From then on each wake-up is for one
    /// piece of work or, when there is none, for the caller.
    void wait() override {
        Lock lock(m_modalWork.m_mutex);
        if (!m_modalWork.isMainThread()) {
            waitForWakeUp(lock);
            return;
        }
        while (m_modalWork.serveOne(lock)) { }
        m_modalWork.m_waitedFor = this;
        do {
            waitForWakeUp(lock);
        } while (m_modalWork.serveOne(lock));
        m_modalWork.m_waitedFor = nullptr;
    }

    /// Under the lock, so that who waits does not destroy this in the middle of it.
    void signal() override {
        const Lock lock(m_modalWork.m_mutex);
        wakeUp();
    }

    void wakeUp() { dispatch_semaphore_signal(m_semaphore); }

private:
    void waitForWakeUp(Lock& lock) {
        lock.unlock();
        dispatch_semaphore_wait(m_semaphore, DISPATCH_TIME_FOREVER);
        lock.lock();
    }

    ModalWork& m_modalWork;
    const dispatch_semaphore_t m_semaphore;
};

void ModalWork::run(const std::function<void()>& work) {
    if (isMainThread()) {
        work();
        return;
    }
    ServingSemaphore done(*this, 0);
    add([&] {
        work();
        done.signal();
    });
    done.wait();
}

std::unique_ptr<Semaphore> ModalWork::makeSemaphore(long value) {
    return std::make_unique<ServingSemaphore>(*this, value);
}

void ModalWork::add(std::function<void()> work) {
    const Lock lock(m_mutex);
    m_work.push_back(std::move(work));
    if (m_waitedFor != nullptr) {
        m_waitedFor->wakeUp();
    } else {
        dispatch_async_f(dispatch_get_main_queue(), this, serveInRunLoop);
    }
}

void ModalWork::serveInRunLoop(void* modalWork) {
    auto* const self = static_cast<ModalWork*>(modalWork);
    Lock lock(self->m_mutex);
    if (self->m_waitedFor == nullptr) { // else the work has a wake-up of its own
        self->serveOne(lock);
    }
}

/// False when there is nothing to do. `lock` is open meanwhile.
bool ModalWork::serveOne(Lock& lock) {
    if (m_work.empty()) {
        return false;
    }
    const std::function<void()> work = std::move(m_work.front());
    m_work.pop_front();
    lock.unlock();
    work();
    lock.lock();
    return true;
}

} // namespace platform
