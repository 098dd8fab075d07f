// SPDX-License-Identifier: MIT
// Server-sent events (WHATWG HTML, 9.2): what happened so far, and what happens next.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

namespace devserver {

/// Used from any thread. Every reader gets all events from the first one on.
class EventFeed {
public:
    void add(std::string_view name, const boost::json::value& data);
    /// No more events will come; readers end.
    void end();

    /// A piece of the stream: the events from number `position` on, which is advanced behind them.
    std::string textFrom(std::size_t& position) const;
    bool hasEnded() const;

    /// Calls `changed` after each change until `unwatch`. It must not call back, nor block.
    int watch(std::function<void()> changed);
    void unwatch(int watcher);

private:
    void tell();

    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
    std::map<int, std::function<void()>> m_watchers;
    int m_lastWatcher = 0;
    bool m_hasEnded = false;
};

} // namespace devserver
