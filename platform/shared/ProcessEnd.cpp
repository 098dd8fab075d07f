// SPDX-License-Identifier: MIT
#include "platform/shared/ProcessEnd.h"

#include "platform/Platform.h"

#include <chrono>
#include <cstdlib>

namespace platform {

void flushNetwork() {
    constexpr std::chrono::seconds limit{5};
    current().network().flush(limit);
}

void flushAndExit(int status) {
    flushNetwork();
    std::exit(status);
}

void flushAndAbort() {
    flushNetwork();
    std::abort();
}

} // namespace platform
