// SPDX-License-Identifier: MIT
#include "platform/linux/MainLoop.h"

namespace platform {

void SleepingLoop::wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_woken; });
    m_woken = false;
}

void SleepingLoop::wake() {
    const std::lock_guard lock(m_mutex);
    m_woken = true;
    m_changed.notify_one();
}

} // namespace platform
