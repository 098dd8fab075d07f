// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <csignal>
#include <termios.h>

namespace platform {

/// Turns the echo of standard input off for its own lifetime, if that is a terminal. A signal that
/// ends the process meanwhile (Control-C) brings it back first. One at a time.
class EchoOff {
public:
    EchoOff();
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    ~EchoOff();

private:
    static constexpr std::array endings{SIGHUP, SIGINT, SIGQUIT, SIGTERM};

    bool m_isTerminal;
    std::array<struct sigaction, endings.size()> m_actions{};
};

} // namespace platform
