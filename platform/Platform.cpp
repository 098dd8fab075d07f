// SPDX-License-Identifier: MIT
#include "platform/Platform.h"

#include <cstdlib>

namespace platform {

namespace {

Platform* installed = nullptr;

} // namespace

Platform& current() {
    if (installed == nullptr) {
        std::abort();
    }
    return *installed;
}

PlatformScope::PlatformScope(Platform& platform)
    : m_previous(installed) {
    installed = &platform;
}

PlatformScope::~PlatformScope() {
    installed = m_previous;
}

void fatalError(std::string_view what) {
    NSLog("Fatal error: ", what);
    current().application().abort();
    std::abort(); // not reached; some compilers do not see that through a virtual call
}

void exitProcess(int status) {
    current().application().exit(status);
    std::abort(); // not reached either
}

} // namespace platform
