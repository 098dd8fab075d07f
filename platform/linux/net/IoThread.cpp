// SPDX-License-Identifier: MIT
#include "platform/linux/net/IoThread.h"

#include <boost/asio/post.hpp>

namespace platform::linux_ {

void IoGate::open(boost::asio::io_context& context) {
    const std::lock_guard lock(m_mutex);
    m_context = &context;
}

void IoGate::post(std::function<void()> work) {
    // The lock is held while posting, so that the context cannot end in between.
    const std::lock_guard lock(m_mutex);
    if (m_context != nullptr) {
        boost::asio::post(*m_context, std::move(work));
    }
}

void IoGate::shut() {
    const std::lock_guard lock(m_mutex);
    m_context = nullptr;
}

IoThread::IoThread(std::shared_ptr<IoGate> gate)
    : m_context(1)
    , m_work(boost::asio::make_work_guard(m_context))
    , m_gate(std::move(gate)) {
    m_gate->open(m_context);
}

IoThread::~IoThread() {
    stop();
    join();
}

void IoThread::start() {
    if (!m_thread.joinable()) {
        m_thread = std::thread([this] { m_context.run(); });
    }
}

void IoThread::stop() {
    m_gate->shut();
    m_context.stop();
}

void IoThread::join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

} // namespace platform::linux_
