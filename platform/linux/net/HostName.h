// SPDX-License-Identifier: MIT
// A host as the user writes it, as it is looked up, and as requests name it.
#pragma once

#include "platform/linux/net/Expected.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace platform::linux_ {

struct HostName {
    std::string display; // UTF-8, for texts; an IPv6 address in brackets
    std::string ascii; // A-labels (RFC 5890), or the address without brackets
    bool isAddress = false;

    /// The value of a Host header (RFC 9110, section 7.2): the port only where it is not the
    /// default.
    std::string authority(std::uint16_t port, std::uint16_t defaultPort) const;
    /// The name or address as certificates bear it: without trailing dot or zone.
    std::string certificateName() const;
};

/// Reads a name (UTF-8, percent-encoded or A-labels), an IPv4 or an IPv6 address, bracketed or not.
Expected<HostName> parseHostName(std::string_view text);

/// A port that one can connect to.
Expected<std::uint16_t> parsePort(std::uint64_t port);
Expected<std::uint16_t> parsePort(std::string_view digits, std::uint16_t defaultPort);

/// The text with every control character replaced, fit for one line of a message.
std::string singleLine(std::string_view text);

} // namespace platform::linux_
