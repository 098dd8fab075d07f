// SPDX-License-Identifier: MIT
#include "platform/linux/BootClock.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr long nanosecondsOfSecond = 1'000'000'000;

timespec timeOf(WorkQueue::Time time) {
    const auto count = std::chrono::nanoseconds(time.time_since_epoch()).count();
    return {count / nanosecondsOfSecond, count % nanosecondsOfSecond};
}

} // namespace

BootClock::BootClock()
    : m_alarm(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC)) {
}

BootClock::~BootClock() {
    {
        const std::lock_guard lock(m_mutex);
        m_hasEnded = true;
        m_work.clear();
        m_work.emplace(Time(), Work()); // what is due at once wakes the thread
        setAlarm();
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
    close(m_alarm);
}

WorkQueue::Time BootClock::now() const {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return Time(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

void BootClock::postAfter(std::chrono::nanoseconds delay, Work work) {
    const std::lock_guard lock(m_mutex);
    m_work.emplace(now() + delay, std::move(work));
    setAlarm();
    if (!m_thread.joinable()) {
        m_thread = std::thread([this] { run(); });
    }
}

/// Under the lock.
void BootClock::setAlarm() {
    itimerspec alarm{};
    if (!m_work.empty()) {
        alarm.it_value = timeOf(std::max(m_work.begin()->first, Time(std::chrono::nanoseconds(1))));
    }
    timerfd_settime(m_alarm, TFD_TIMER_ABSTIME, &alarm, nullptr);
}

WorkQueue::Work BootClock::takeDue() {
    const std::lock_guard lock(m_mutex);
    Work due;
    if (!m_hasEnded && !m_work.empty() && m_work.begin()->first <= now()) {
        due = std::move(m_work.begin()->second);
        m_work.erase(m_work.begin());
    }
    setAlarm();
    return due;
}

void BootClock::run() {
    const auto hasEnded = [this] {
        const std::lock_guard lock(m_mutex);
        return m_hasEnded;
    };
    while (!hasEnded()) {
        std::uint64_t alarms = 0;
        if (read(m_alarm, &alarms, sizeof alarms) < 0 && errno != EINTR) {
            return; // there is no such clock
        }
        while (const Work due = takeDue()) {
            due();
        }
    }
}

} // namespace platform
