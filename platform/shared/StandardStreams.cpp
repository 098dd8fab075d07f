// SPDX-License-Identifier: MIT
#include "platform/shared/StandardStreams.h"

#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace platform {

void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", O_RDWR); // gets the lowest number that is free
        }
    }
}

} // namespace platform
