// SPDX-License-Identifier: MIT
// How the main thread waits for its work.
#pragma once

#include <condition_variable>
#include <mutex>

namespace platform {

/// Only `wake` may be called from other threads.
class MainLoop {
public:
    virtual ~MainLoop() = default;

    /// Blocks until `wake` has been called since the last `wait`; may return early. Events of
    /// windows are handled meanwhile.
    virtual void wait() = 0;
    virtual void wake() = 0;

    /// Handles the events of windows that are there already.
    virtual void serve() = 0;

    /// Before the process ends: takes the windows away, and has the desktop hear the last that it
    /// was told. Nothing waits afterwards.
    virtual void shutDown() = 0;
};

/// Sleeps: there are no windows.
class SleepingLoop final : public MainLoop {
public:
    void wait() override;
    void wake() override;
    void serve() override { }
    void shutDown() override { }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_woken = false;
};

} // namespace platform
