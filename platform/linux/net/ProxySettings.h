// SPDX-License-Identifier: MIT
// Which proxy the environment variables https_proxy and no_proxy prescribe.
#pragma once

#include "platform/linux/net/HostName.h"

#include <cstdint>
#include <optional>
#include <string>

namespace platform::linux_ {

/// The variables' values, the lower-case spelling before the upper-case one; empty when not set.
struct ProxyEnvironment {
    std::string httpsProxy; // http://[USER[:PASSWORD]@]HOST[:PORT]
    std::string noProxy; // names with their subdomains, addresses, networks; "*" means all

    /// Reads the environment of the process, which nobody may change meanwhile.
    static ProxyEnvironment ofProcess();
};

struct Proxy {
    HostName host;
    std::uint16_t port = 80;
    std::string authorization; // value of Proxy-Authorization (RFC 7617), or empty
};

/// The proxy for a TLS connection; none for this computer itself and for what no_proxy lists.
Expected<std::optional<Proxy>> proxyFor(
    const ProxyEnvironment& environment, const HostName& host, std::uint16_t port);

} // namespace platform::linux_
