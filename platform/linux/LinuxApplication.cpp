// SPDX-License-Identifier: MIT
#include "platform/linux/LinuxApplication.h"

#include "platform/Network.h"

#include <chrono>
#include <cstdlib>
#include <future>
#include <utility>

namespace platform {

namespace {

constexpr std::chrono::seconds flushLimit{5};

} // namespace

/// Shares the application's lock, so that one wait serves both the count and the modal work.
class LinuxApplication::MainSemaphore : public Semaphore {
public:
    MainSemaphore(LinuxApplication& application, long value)
        : m_application(application)
        , m_value(value) { }

    void wait() override {
        std::unique_lock lock(m_application.m_mutex);
        while (m_value <= 0) {
            if (!m_application.isMainThread()) {
                m_application.m_changed.wait(lock);
            } else if (m_application.m_stopped) {
                lock.unlock();
                m_application.exit(m_application.m_status);
            } else if (!m_application.m_modalWork.empty()) {
                m_application.runFirst(m_application.m_modalWork, lock);
            } else {
                lock.unlock();
                m_application.m_loop->wait();
                lock.lock();
            }
        }
        --m_value;
    }

    void signal() override {
        const std::lock_guard lock(m_application.m_mutex);
        ++m_value;
        m_application.changed();
    }

private:
    LinuxApplication& m_application;
    long m_value;
};

LinuxApplication::LinuxApplication()
    : m_mainThread(std::this_thread::get_id()) {
}

void LinuxApplication::setMainLoop(MainLoop* loop) {
    const std::lock_guard lock(m_mutex);
    m_loop = loop == nullptr ? &m_sleepingLoop : loop;
}

int LinuxApplication::run(NSApplicationDelegate& delegate) {
    delegate.loadMainInterface();
    delegate.applicationWillFinishLaunching();
    std::unique_lock lock(m_mutex);
    while (!m_stopped) {
        auto& queue = m_modalWork.empty() ? m_work : m_modalWork;
        if (!queue.empty()) {
            runFirst(queue, lock);
        }
        const bool isIdle = m_work.empty() && m_modalWork.empty() && !m_stopped;
        lock.unlock();
        isIdle ? m_loop->wait() : m_loop->serve();
        lock.lock();
    }
    lock.unlock();
    delegate.applicationWillTerminate();
    flushNetwork();
    return m_status;
}

void LinuxApplication::setEventHandler(
    AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId) {
    m_handlers[{eventClass, eventId}] = std::move(handler);
}

void LinuxApplication::performOnMainThread(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    m_work.push_back(std::move(work));
    changed();
}

std::unique_ptr<Semaphore> LinuxApplication::makeSemaphore(long value) {
    return std::make_unique<MainSemaphore>(*this, value);
}

void LinuxApplication::runModally(const std::function<void()>& work) {
    if (isMainThread()) {
        work();
        return;
    }
    std::promise<void> done;
    {
        const std::lock_guard lock(m_mutex);
        m_modalWork.emplace_back([&] {
            work();
            done.set_value();
        });
        changed();
    }
    done.get_future().wait();
}

void LinuxApplication::openURL(std::string url) {
    openURL([url = std::move(url)] { return std::optional(url); });
}

void LinuxApplication::openURL(std::function<std::optional<std::string>()> take) {
    performOnMainThread([this, take = std::move(take)] {
        const auto handler = m_handlers.find({kInternetEventClass, kAEGetURL});
        const std::optional<std::string> url = take();
        if (url && handler != m_handlers.end()) {
            const AppleEventDescriptor event{{{keyDirectObject, {*url}}}};
            handler->second(&event, nullptr);
        }
    });
}

void LinuxApplication::stop(int status) {
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_status = status;
    changed();
}

void LinuxApplication::exit(int status) {
    if (!isMainThread()) {
        // Ending the process destroys what the main thread uses.
        runModally([this, status] { exit(status); });
    }
    closeWindows();
    flushNetwork();
    if (m_sideWork > 0) {
        std::_Exit(status);
    }
    std::exit(status);
}

void LinuxApplication::abort() {
    if (isMainThread()) { // another one must not wait for it: nobody knows what state it is in
        closeWindows();
    }
    flushNetwork();
    std::abort();
}

void LinuxApplication::closeWindows() {
    MainLoop* loop = nullptr;
    {
        const std::lock_guard lock(m_mutex); // under which every wake-up is given
        loop = std::exchange(m_loop, &m_sleepingLoop);
    }
    loop->shutDown();
}

void LinuxApplication::flushNetwork() {
    if (m_network != nullptr) {
        m_network->flush(flushLimit);
    }
}

/// Under the lock.
void LinuxApplication::changed() {
    m_changed.notify_all();
    m_loop->wake();
}

void LinuxApplication::runFirst(Work& work, std::unique_lock<std::mutex>& lock) {
    {
        const std::function<void()> first = std::move(work.front());
        work.pop_front();
        lock.unlock();
        first();
    } // what it holds goes without the lock
    lock.lock();
}

} // namespace platform
