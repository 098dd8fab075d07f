// SPDX-License-Identifier: MIT
#include "platform/linux/net/PeerMemory.h"

#include <algorithm>
#include <ctime>

namespace platform::linux_ {

PeerMemory::Time PeerMemory::timeSinceBoot() {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

PeerMemory::Entry* PeerMemory::find(const Place& place) {
    const Time now = m_now();
    for (Entry& entry : m_entries) {
        if (now >= entry.endpointsUntil) {
            entry.endpoints.clear();
        }
        if (now >= entry.sessionUntil) {
            entry.session = nullptr;
        }
    }
    const auto found = std::ranges::find(m_entries, place, &Entry::place);
    return found != m_entries.end() ? &*found : nullptr;
}

PeerMemory::Entry& PeerMemory::findOrAdd(const Place& place) {
    if (Entry* const entry = find(place)) {
        return *entry;
    }
    if (m_entries.size() == placeLimit) {
        m_entries.erase(m_entries.begin());
    }
    return m_entries.emplace_back(Entry{place, {}, {}, {}, {}});
}

void PeerMemory::keepEndpoints(const Place& place, Endpoints endpoints, const Endpoint& answered) {
    const auto first = std::ranges::find(endpoints, answered);
    if (first != endpoints.end()) {
        std::rotate(endpoints.begin(), first, first + 1);
    }
    Entry& entry = findOrAdd(place);
    entry.endpoints = std::move(endpoints);
    entry.endpointsUntil = m_now() + lifetime;
}

PeerMemory::Endpoints PeerMemory::endpoints(const Place& place) {
    const Entry* const entry = find(place);
    return entry != nullptr ? entry->endpoints : Endpoints{};
}

void PeerMemory::forgetEndpoints(const Place& place) {
    if (Entry* const entry = find(place)) {
        entry->endpoints.clear();
    }
}

void PeerMemory::keepSession(const Place& place, TlsSession session, Time handshake) {
    Entry& entry = findOrAdd(place);
    entry.session = std::move(session);
    entry.sessionUntil = handshake + lifetime; // it may come long after the handshake
}

TlsSession PeerMemory::takeSession(const Place& place) {
    Entry* const entry = find(place);
    return entry != nullptr ? std::move(entry->session) : nullptr;
}

} // namespace platform::linux_
