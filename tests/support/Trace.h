// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What happened, in order, one text an event.
class Trace {
public:
    void add(std::string event) { m_events.push_back(std::move(event)); }
    const std::vector<std::string>& events() const { return m_events; }

    /// The events of one kind, without their prefix.
    std::vector<std::string> withPrefix(std::string_view prefix) const {
        std::vector<std::string> found;
        for (const std::string& event : m_events) {
            if (event.starts_with(prefix)) {
                found.push_back(event.substr(prefix.size()));
            }
        }
        return found;
    }

private:
    std::vector<std::string> m_events;
};
