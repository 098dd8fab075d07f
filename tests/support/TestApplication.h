// SPDX-License-Identifier: MIT
// A main thread that runs when a test says so.
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Far above what any test needs; it bounds the ones that fail.
inline constexpr std::chrono::seconds patience{60};

class TestApplication : public platform::Application {
public:
    int run(platform::NSApplicationDelegate&) override { std::abort(); }
    void setEventHandler(
        platform::AppleEventHandler, platform::FourCharCode, platform::FourCharCode) override {
        std::abort();
    }
    std::unique_ptr<platform::Semaphore> makeSemaphore(long) override { std::abort(); }
    void exit(int) override { std::abort(); }
    void abort() override { std::abort(); }

    void performOnMainThread(std::function<void()> work) override {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
        m_changed.notify_all();
    }

    /// Runs events on the calling thread until `done` holds; false when it never does.
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        std::unique_lock lock(m_mutex);
        while (!done()) {
            if (!m_changed.wait_until(lock, deadline, [this] { return !m_work.empty(); })) {
                return false;
            }
            const auto work = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            work();
            lock.lock();
        }
        return true;
    }

    /// Runs what is there by now.
    void runPending() {
        std::deque<std::function<void()>> work;
        {
            const std::lock_guard lock(m_mutex);
            work.swap(m_work);
        }
        for (const auto& event : work) {
            event();
        }
    }

    /// Waits, without running anything, until so many events are there.
    bool waitForPending(std::size_t count) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [&] { return m_work.size() >= count; });
    }

    std::size_t pending() {
        const std::lock_guard lock(m_mutex);
        return m_work.size();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_work;
};

/// Writes down what it is told.
class RecordingDelegate : public platform::WebSocketDelegate {
public:
    void webSocketDidOpen(const std::string& picked) override {
        EXPECT_EQ(thread, std::this_thread::get_id());
        EXPECT_FALSE(opened);
        opened = true;
        subprotocol = picked;
    }
    void webSocketDidReceiveData(OwnedText piece) override {
        EXPECT_EQ(thread, std::this_thread::get_id());
        EXPECT_TRUE(opened && reasons.empty());
        data += piece.view();
        ++pieces;
    }
    void webSocketDidClose(const std::string& reason) override {
        EXPECT_EQ(thread, std::this_thread::get_id());
        reasons.push_back(reason);
    }
    bool isClosed() const { return !reasons.empty(); }

    const std::thread::id thread = std::this_thread::get_id();
    bool opened = false;
    std::string subprotocol;
    std::string data;
    int pieces = 0;
    std::vector<std::string> reasons;
};
