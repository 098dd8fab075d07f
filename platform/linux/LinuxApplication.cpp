// SPDX-License-Identifier: MIT
#include "platform/linux/LinuxApplication.h"

#include "platform/Network.h"

#include <chrono>
#include <cstdlib>
#include <future>

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
        auto& modalWork = m_application.m_modalWork;
        while (m_value <= 0) {
            if (m_application.isMainThread() && !modalWork.empty()) {
                const std::function<void()> work = std::move(modalWork.front());
                modalWork.pop_front();
                lock.unlock();
                work();
                lock.lock();
                continue;
            }
            m_application.m_changed.wait(lock);
        }
        --m_value;
    }

    void signal() override {
        const std::lock_guard lock(m_application.m_mutex);
        ++m_value;
        m_application.m_changed.notify_all();
    }

private:
    LinuxApplication& m_application;
    long m_value;
};

LinuxApplication::LinuxApplication()
    : m_mainThread(std::this_thread::get_id()) {
}

int LinuxApplication::run(NSApplicationDelegate& delegate) {
    delegate.loadMainInterface();
    delegate.applicationWillFinishLaunching();
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(
            lock, [this] { return m_stopped || !m_work.empty() || !m_modalWork.empty(); });
        if (m_stopped) {
            break;
        }
        auto& queue = m_modalWork.empty() ? m_work : m_modalWork;
        const std::function<void()> work = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        work();
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
    m_changed.notify_all();
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
        m_changed.notify_all();
    }
    done.get_future().wait();
}

void LinuxApplication::openURL(std::string url) {
    performOnMainThread([this, url = std::move(url)] {
        const auto handler = m_handlers.find({kInternetEventClass, kAEGetURL});
        if (handler != m_handlers.end()) {
            const AppleEventDescriptor event{{{keyDirectObject, {url}}}};
            handler->second(&event, nullptr);
        }
    });
}

void LinuxApplication::stop(int status) {
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_status = status;
    m_changed.notify_all();
}

void LinuxApplication::exit(int status) {
    flushNetwork();
    std::exit(status);
}

void LinuxApplication::abort() {
    flushNetwork();
    std::abort();
}

void LinuxApplication::flushNetwork() {
    if (m_network != nullptr) {
        m_network->flush(flushLimit);
    }
}

} // namespace platform
