// SPDX-License-Identifier: MIT
#include "devserver/program/LineReader.h"

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

std::optional<std::string> LineReader::next() {
    for (;;) {
        const std::size_t end = m_pending.find('\n');
        if (end != std::string::npos) {
            std::string line = m_pending.substr(0, end);
            m_pending.erase(0, end + 1);
            return line;
        }
        std::array<pollfd, 2> descriptors = {{{m_input, POLLIN, 0}, {m_stop, POLLIN, 0}}};
        if (poll(descriptors.data(), descriptors.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return std::nullopt;
        }
        if (descriptors[1].revents != 0) {
            return std::nullopt;
        }
        if (descriptors[0].revents != 0 && !takeInput()) {
            m_input = -1; // poll passes over it
        }
    }
}

bool LineReader::takeInput() {
    std::array<char, 4096> chunk{};
    const ssize_t length = read(m_input, chunk.data(), chunk.size());
    if (length > 0) {
        m_pending.append(chunk.data(), static_cast<std::size_t>(length));
        return true;
    }
    if (!m_pending.empty()) {
        m_pending += '\n'; // the last line needs no end
    }
    return false;
}

int endRequests() {
    if (pipe(signalPipe.data()) != 0) {
        return -1;
    }
    for (const int end : signalPipe) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    struct sigaction action = {};
    action.sa_handler = tellOfSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    return signalPipe[0];
}

} // namespace devserver
