// SPDX-License-Identifier: MIT
#include "platform/shared/ModalWork.h"

namespace platform {

class ModalWork::ServingSemaphore : public Semaphore {
public:
    ServingSemaphore(ModalWork& modalWork, long value)
        : m_modalWork(modalWork)
        , m_semaphore(modalWork.m_makeSemaphore()) {
        while (value-- > 0) {
            wakeUp();
        }
    }

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

    void wakeUp() { m_semaphore->signal(); }

private:
    void waitForWakeUp(Lock& lock) {
        lock.unlock();
        m_semaphore->wait();
        lock.lock();
    }

    ModalWork& m_modalWork;
    const std::unique_ptr<Semaphore> m_semaphore; // the platform's
};

ModalWork::ModalWork(WorkQueue& mainQueue, MakeSemaphore makeSemaphore)
    : m_mainQueue(mainQueue)
    , m_makeSemaphore(std::move(makeSemaphore)) {
}

/// Counts what is under way, also when it ends by an exception.
class ModalWork::Running {
public:
    explicit Running(int& count)
        : m_count(count) {
        ++m_count;
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { --m_count; }

private:
    int& m_count;
};

void ModalWork::runHere(const std::function<void()>& work) {
    const Running running(m_running);
    work();
}

void ModalWork::run(const std::function<void()>& work) {
    if (isMainThread()) {
        runHere(work);
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
        m_mainQueue.post([this] { serveInRunLoop(); });
    }
}

void ModalWork::serveInRunLoop() {
    Lock lock(m_mutex);
    if (m_waitedFor == nullptr) { // else the work has a wake-up of its own
        serveOne(lock);
    }
}

/// False when there is nothing to do. `lock` is open meanwhile.
bool ModalWork::serveOne(Lock& lock) {
    if (m_work.empty()) {
        return false;
    }
    {
        const std::function<void()> work = std::move(m_work.front());
        m_work.pop_front();
        lock.unlock();
        runHere(work);
    } // what it holds goes without the lock
    lock.lock();
    return true;
}

} // namespace platform
