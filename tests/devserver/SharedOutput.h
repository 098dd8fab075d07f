// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>

namespace devserver::test {

/// A stream that one thread writes and others watch.
class SharedOutput : public std::ostream {
public:
    SharedOutput()
        : std::ostream(nullptr)
        , m_buffer(*this) {
        rdbuf(&m_buffer);
    }

    std::string text() const {
        const std::lock_guard lock(m_mutex);
        return m_text;
    }

    void clearText() {
        const std::lock_guard lock(m_mutex);
        m_text.clear();
    }

    /// Whether the text holds `part` before `timeout` is over.
    bool waitFor(const std::string& part, std::chrono::milliseconds timeout) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(
            lock, timeout, [&] { return m_text.find(part) != std::string::npos; });
    }

    /// The text from behind `label` to the end of its line.
    std::string valueOf(const std::string& label) const {
        const std::string all = text();
        const std::size_t start = all.find(label);
        if (start == std::string::npos) {
            return "";
        }
        const std::size_t from = start + label.size();
        return all.substr(from, all.find('\n', from) - from);
    }

private:
    class Buffer : public std::streambuf {
    public:
        explicit Buffer(SharedOutput& owner)
            : m_owner(owner) { }

    private:
        int_type overflow(int_type c) override {
            const char one = traits_type::to_char_type(c);
            return xsputn(&one, 1) == 1 ? c : traits_type::eof();
        }
        std::streamsize xsputn(const char* bytes, std::streamsize count) override {
            const std::lock_guard lock(m_owner.m_mutex);
            m_owner.m_text.append(bytes, static_cast<std::size_t>(count));
            m_owner.m_changed.notify_all();
            return count;
        }

        SharedOutput& m_owner;
    };

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_text;
    Buffer m_buffer;
};

} // namespace devserver::test
