// SPDX-License-Identifier: MIT
#include "platform/shared/CoreFile.h"

#include <sys/resource.h>

namespace platform {

void forbidCoreFile() {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);
    }
}

} // namespace platform
