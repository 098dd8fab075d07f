// SPDX-License-Identifier: MIT
#include "platform/linux/SideWork.h"

#include "platform/linux/LinuxApplication.h"

#include <condition_variable>
#include <exception>
#include <future>
#include <mutex>
#include <thread>

namespace platform {

/// Does one thing after the other. The thread begins with the first. Its end is waited for, so that
/// libraries take back what they keep for it, but for a moment only: a card may hold it for ever.
class SideWork::Thread {
public:
    ~Thread() {
        if (m_place == nullptr) {
            return;
        }
        give(nullptr);
        std::unique_lock lock(m_place->mutex);
        const bool hasEnded = m_place->changed.wait_for(
            lock, std::chrono::milliseconds(200), [this] { return m_place->hasEnded; });
        lock.unlock();
        if (hasEnded) {
            m_thread.join();
        } else {
            m_thread.detach();
        }
    }

    void run(std::function<void()> work) {
        if (m_place == nullptr) {
            const auto place = std::make_shared<Place>();
            m_thread = std::thread([place] { serve(*place); });
            m_place = place;
        }
        give(std::move(work));
    }

private:
    struct Place {
        std::mutex mutex;
        std::condition_variable changed;
        bool isTaken = true;
        bool hasEnded = false;
        std::function<void()> work; // empty at the end
    };

    void give(std::function<void()> work) {
        const std::lock_guard lock(m_place->mutex);
        m_place->work = std::move(work);
        m_place->isTaken = false;
        m_place->changed.notify_one();
    }

    static void serve(Place& place) {
        std::unique_lock lock(place.mutex);
        while (true) {
            place.changed.wait(lock, [&] { return !place.isTaken; });
            const std::function<void()> work = std::exchange(place.work, nullptr);
            place.isTaken = true;
            if (!work) {
                place.hasEnded = true;
                place.changed.notify_one();
                return;
            }
            lock.unlock();
            work();
            lock.lock();
        }
    }

    std::shared_ptr<Place> m_place;
    std::thread m_thread;
};

/// Calls what it was set to, on a thread of its own, unless it is set back before its time. The
/// thread sleeps on through many short works.
class SideWork::Alarm {
public:
    using Time = std::chrono::steady_clock::time_point;

    ~Alarm() {
        const std::lock_guard lock(m_place->mutex);
        m_place->isEnding = true;
        m_place->changed.notify_one();
    }

    void set(Time time, std::function<void()> ring) {
        const std::lock_guard lock(m_place->mutex);
        m_place->time = time;
        m_place->ring = std::move(ring);
        if (time < m_place->wakes) {
            m_place->changed.notify_one();
        }
        if (!std::exchange(m_isServed, true)) {
            m_thread.run([place = m_place] { serve(*place); });
        }
    }

    /// Whether it rings, or has rung.
    bool setBack() {
        const std::lock_guard lock(m_place->mutex);
        return std::exchange(m_place->time, never) == never;
    }

private:
    static constexpr Time never = Time::max();

    struct Place {
        std::mutex mutex;
        std::condition_variable changed;
        Time time = never; // of the ring
        Time wakes = never; // by itself
        std::function<void()> ring;
        bool isEnding = false;
    };

    static void serve(Place& place) {
        std::unique_lock lock(place.mutex);
        while (!place.isEnding) {
            place.wakes = place.time;
            if (place.time == never) {
                place.changed.wait(lock);
            } else if (place.time > std::chrono::steady_clock::now()) {
                const Time wakes = place.wakes; // another may be set meanwhile
                place.changed.wait_until(lock, wakes);
            } else {
                place.time = never;
                const std::function<void()> ring = std::exchange(place.ring, nullptr);
                lock.unlock();
                ring();
                lock.lock();
            }
        }
    }

    std::shared_ptr<Place> m_place = std::make_shared<Place>();
    bool m_isServed = false;
    Thread m_thread;
};

SideWork::SideWork(LinuxApplication& application, Tell tell, std::string wayOut, Patience patience)
    : m_application(application)
    , m_tell(std::move(tell))
    , m_wayOut(std::move(wayOut))
    , m_patience(patience) {
}

SideWork::~SideWork() = default;

void SideWork::run(const Name& waitingFor, const std::function<void()>& work) const {
    const LinuxApplication::SideWorkScope scope(m_application);
    // The work may ask the user, and what the user does then may be such work again.
    auto worker = m_worker ? std::move(m_worker) : std::make_unique<Thread>();
    auto alarm = m_alarm ? std::move(m_alarm) : std::make_unique<Alarm>();
    const std::shared_ptr<Semaphore> ended = m_application.makeSemaphore(0);
    const auto promise = std::make_shared<std::promise<void>>();
    const std::future<void> done = promise->get_future();
    std::exception_ptr failure;
    alarm->set(std::chrono::steady_clock::now() + m_patience.first, [&, ended] {
        const auto isDone
            = [&](auto time) { return done.wait_for(time) == std::future_status::ready; };
        const auto tellUnlessDone = [&](const std::string& before, const std::string& behind) {
            m_application.runModally([&] {
                if (!isDone(std::chrono::seconds(0))) { // a dialog may have been before this
                    m_tell(before + waitingFor() + behind);
                }
            });
        };
        tellUnlessDone("Waiting for ", "...");
        if (!isDone(m_patience.second)) {
            tellUnlessDone("Still waiting for ", ". " + m_wayOut);
        }
        ended->signal();
    });
    worker->run([&, ended, promise] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        promise->set_value();
        ended->signal();
    });
    ended->wait();
    if (alarm->setBack()) {
        ended->wait(); // until both have ended: the alarm may wait for this very thread
    }
    m_worker = std::move(worker);
    m_alarm = std::move(alarm);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace platform
