// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Servers that an administrator names. Compared is the host that a connection would go to, never
/// the text of a link.
class ZqServerList {
public:
    /// Adds "HOST", "HOST:PORT" or "HOST:*"; without a port it is 443. A host is a name, an address
    /// (IPv6 in brackets), or "*." before a name: exactly one further label. What is wrong with the
    /// entry, or nothing.
    std::optional<std::string> add(const std::string& text);

    bool allows(const platform::NetworkHost& host, std::uint64_t port) const;

    /// The entries as they are compared.
    std::vector<std::string> entries() const;

private:
    struct Entry {
        std::string host; // behind "*." for a wildcard
        bool isAddress = false;
        bool isWildcard = false;
        std::optional<std::uint64_t> port; // any when absent
    };

    static bool matches(const Entry& entry, const platform::NetworkHost& host);

    std::vector<Entry> m_entries;
};
