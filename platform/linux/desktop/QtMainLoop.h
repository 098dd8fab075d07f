// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/MainLoop.h"

#include <QObject>
#include <atomic>
#include <functional>

class QEventLoop;

namespace platform {

/// Waits in Qt's event loop, for which there must be an application object.
class QtMainLoop final : public MainLoop {
public:
    /// `closeWindows` is what `shutDown` does.
    explicit QtMainLoop(std::function<void()> closeWindows)
        : m_closeWindows(std::move(closeWindows)) { }

    void wait() override;
    void wake() override;
    void serve() override;
    void shutDown() override { m_closeWindows(); }

private:
    std::function<void()> m_closeWindows;
    QObject m_receiver; // of what `wake` posts; belongs to the main thread
    std::atomic<bool> m_posted = false;
    bool m_woken = false;
    QEventLoop* m_loop = nullptr; // the one that `wait` runs
};

} // namespace platform
