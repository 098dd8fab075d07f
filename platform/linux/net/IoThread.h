// SPDX-License-Identifier: MIT
// The one thread on which all sockets live.
#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace platform::linux_ {

/// The way onto the thread for others, which may outlive it: then work is dropped.
class IoGate {
public:
    void open(boost::asio::io_context& context);
    void post(std::function<void()> work);
    void shut();

private:
    std::mutex m_mutex;
    boost::asio::io_context* m_context = nullptr; // while open
};

class IoThread {
public:
    explicit IoThread(std::shared_ptr<IoGate> gate);
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    boost::asio::io_context& context() { return m_context; }

    /// Starts the thread unless it runs.
    void start();
    bool isStarted() const { return m_thread.joinable(); }
    /// Ends the work without waiting for the thread.
    void stop();
    void join();

private:
    boost::asio::io_context m_context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_work;
    std::shared_ptr<IoGate> m_gate;
    std::thread m_thread;
};

/// Asks an operation of the thread to end early. Used on the thread alone.
class AbortSignal {
public:
    bool isRaised() const { return m_raised; }

    void raise() {
        m_raised = true;
        if (m_action) {
            m_action();
        }
    }

    /// While it lives, raising the signal runs the action. One at a time.
    class Scope {
    public:
        Scope(AbortSignal& signal, std::function<void()> action)
            : m_signal(signal) {
            m_signal.m_action = std::move(action);
        }
        ~Scope() { m_signal.m_action = nullptr; }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        AbortSignal& m_signal;
    };

private:
    bool m_raised = false;
    std::function<void()> m_action;
};

} // namespace platform::linux_
