// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/QtMainLoop.h"

#include <QCoreApplication>
#include <QEventLoop>

namespace platform {

void QtMainLoop::wait() {
    if (!m_woken) {
        QEventLoop loop;
        m_loop = &loop;
        loop.exec();
        m_loop = nullptr;
    }
    m_woken = false;
}

void QtMainLoop::wake() {
    if (m_posted.exchange(true)) {
        return; // one that is on its way is enough
    }
    const auto arrived = [this] {
        m_posted = false;
        m_woken = true;
        if (m_loop != nullptr) {
            m_loop->quit();
        }
    };
    QMetaObject::invokeMethod(&m_receiver, arrived, Qt::QueuedConnection);
}

void QtMainLoop::serve() {
    QCoreApplication::processEvents();
}

} // namespace platform
