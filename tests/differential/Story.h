// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace differential {

/// An event of which only the beginning is told: the rest are a library's own words.
inline const std::string anyWords = "\x02...";

/// The events of a run, as far as they are told.
class Story {
public:
    /// Nothing happens any more.
    struct End { };

    void add(std::string event) { m_events.push_back(std::move(event)); }
    const std::vector<std::string>& events() const { return m_events; }

    void statusLine(const std::string& text) {
        add("log: " + text);
        add("status: " + text + "\n");
    }
    void notification(const std::string& text) {
        statusLine(text);
        add("notification: " + text + " | Quillet");
    }
    [[noreturn]] void exit(int status) {
        add("exit: " + std::to_string(status));
        throw End();
    }
    [[noreturn]] void alert(const std::string& message, const std::string& details);
    [[noreturn]] void abort();

private:
    std::vector<std::string> m_events;
};

} // namespace differential
