// SPDX-License-Identifier: MIT
#include "devserver/server/EventFeed.h"

#include <boost/json/serialize.hpp>

namespace devserver {

void EventFeed::add(std::string_view name, const boost::json::value& data) {
    // JSON has no line breaks outside its texts, and escapes those within.
    std::string rest
        = "\nevent: " + std::string(name) + "\ndata: " + boost::json::serialize(data) + "\n\n";
    const std::lock_guard lock(m_mutex);
    m_events.push_back("id: " + std::to_string(m_events.size() + 1) + std::move(rest));
    tell();
}

void EventFeed::end() {
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
    tell();
}

std::string EventFeed::textFrom(std::size_t& position) const {
    const std::lock_guard lock(m_mutex);
    std::string text;
    for (; position < m_events.size(); ++position) {
        text += m_events[position];
    }
    return text;
}

bool EventFeed::hasEnded() const {
    const std::lock_guard lock(m_mutex);
    return m_hasEnded;
}

int EventFeed::watch(std::function<void()> changed) {
    const std::lock_guard lock(m_mutex);
    m_watchers[++m_lastWatcher] = std::move(changed);
    return m_lastWatcher;
}

void EventFeed::unwatch(int watcher) {
    const std::lock_guard lock(m_mutex);
    m_watchers.erase(watcher);
}

void EventFeed::tell() {
    for (const auto& [number, changed] : m_watchers) {
        changed();
    }
}

} // namespace devserver
