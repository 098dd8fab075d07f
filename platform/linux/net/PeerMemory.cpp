// SPDX-License-Identifier: MIT
#include "platform/linux/net/PeerMemory.h"

#include <algorithm>
#include <utility>

namespace platform::linux_ {

PeerMemory::Entry* PeerMemory::find(const Place& place) {
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
    return entry != nullptr && m_now() < entry->endpointsUntil ? entry->endpoints : Endpoints{};
}

void PeerMemory::forgetEndpoints(const Place& place) {
    if (Entry* const entry = find(place)) {
        entry->endpoints.clear();
    }
}

void PeerMemory::keepSession(const Place& place, TlsSession session) {
    Entry& entry = findOrAdd(place);
    entry.session = std::move(session);
    entry.sessionUntil = m_now() + lifetime;
}

TlsSession PeerMemory::takeSession(const Place& place) {
    Entry* const entry = find(place);
    TlsSession session = entry != nullptr ? std::move(entry->session) : nullptr;
    return session && m_now() < entry->sessionUntil ? std::move(session) : nullptr;
}

} // namespace platform::linux_
