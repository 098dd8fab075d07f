// SPDX-License-Identifier: MIT
#include "devserver/program/StopSignal.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace devserver {

namespace {

std::array<int, 2> signalPipe = {-1, -1};

void tellOfSignal(int) {
    const int saved = errno;
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], "", 1);
    errno = saved;
}

} // namespace

int stopSignals() {
    if (pipe2(signalPipe.data(), O_CLOEXEC) != 0) {
        return -1;
    }
    struct sigaction action = {};
    action.sa_handler = tellOfSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    return signalPipe[0];
}

void waitUntilReadable(int descriptor) {
    pollfd waited = {descriptor, POLLIN, 0};
    while (poll(&waited, 1, -1) < 0 && errno == EINTR) { }
}

} // namespace devserver
