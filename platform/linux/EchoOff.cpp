// SPDX-License-Identifier: MIT
#include "platform/linux/EchoOff.h"

#include <unistd.h>

namespace platform {

namespace {

termios settingsBefore{}; // where the signal handler finds it

/// The default action is back already, and ends the process as it would have without this.
void bringEchoBack(int signal) {
    tcsetattr(STDIN_FILENO, TCSANOW, &settingsBefore);
    raise(signal);
}

} // namespace

EchoOff::EchoOff()
    : m_isTerminal(tcgetattr(STDIN_FILENO, &settingsBefore) == 0) {
    if (!m_isTerminal) {
        return;
    }
    struct sigaction action { };
    action.sa_handler = bringEchoBack;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (std::size_t i = 0; i < endings.size(); ++i) {
        sigaction(endings[i], nullptr, &m_actions[i]);
        if (m_actions[i].sa_handler == SIG_DFL) { // one that is ignored stays so
            sigaction(endings[i], &action, nullptr);
        }
    }
    termios silent = settingsBefore;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_lflag |= ECHONL;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
}

EchoOff::~EchoOff() {
    if (!m_isTerminal) {
        return;
    }
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &settingsBefore);
    for (std::size_t i = 0; i < endings.size(); ++i) {
        sigaction(endings[i], &m_actions[i], nullptr);
    }
}

} // namespace platform
