// SPDX-License-Identifier: MIT
#include "platform/linux/PrivateMemory.h"

#include "platform/shared/CoreFile.h"

#include <sys/prctl.h>

namespace platform {

void keepMemoryPrivate() {
    forbidCoreFile();
    // A core that goes to a collector of the system knows no limit, but this.
    prctl(PR_SET_DUMPABLE, 0);
}

} // namespace platform
