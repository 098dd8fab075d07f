// SPDX-License-Identifier: MIT
#include "platform/linux/net/HostComparison.h"

#include "platform/shared/ComparableHost.h"

#include <algorithm>

namespace platform::linux_ {

NetworkHost networkHost(const HostName& host) {
    const bool isInternational = std::any_of(host.display.begin(), host.display.end(),
        [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    return comparableHost(host.ascii, isInternational ? host.display : std::string_view());
}

} // namespace platform::linux_
