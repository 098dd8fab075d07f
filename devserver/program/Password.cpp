// SPDX-License-Identifier: MIT
#include "devserver/program/Password.h"

#include <fstream>

#include <termios.h>
#include <unistd.h>

namespace devserver {

namespace {

/// The terminal shows nothing of what is typed, for the lifetime.
class Unseen {
public:
    Unseen() {
        m_isTerminal = tcgetattr(STDIN_FILENO, &m_before) == 0;
        termios unseen = m_before;
        unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        m_isTerminal = m_isTerminal && tcsetattr(STDIN_FILENO, TCSAFLUSH, &unseen) == 0;
    }
    Unseen(const Unseen&) = delete;
    Unseen& operator=(const Unseen&) = delete;
    ~Unseen() {
        if (m_isTerminal) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        }
    }
    bool isTerminal() const { return m_isTerminal; }

private:
    termios m_before{};
    bool m_isTerminal = false;
};

std::optional<std::string> typedPassword(std::string& error) {
    const Unseen unseen;
    if (!unseen.isTerminal()) {
        error = "the password cannot be asked for: standard input is no terminal";
        return std::nullopt;
    }
    constexpr std::string_view prompt = "Password of the PDF: ";
    std::string line;
    char c = 0;
    bool isWritten = write(STDERR_FILENO, prompt.data(), prompt.size()) >= 0;
    while (isWritten && read(STDIN_FILENO, &c, 1) == 1 && c != '\n') {
        line += c;
    }
    isWritten = write(STDERR_FILENO, "\n", 1) >= 0 && isWritten;
    return line;
}

} // namespace

std::optional<std::string> readPassword(const std::string& source, std::string& error) {
    if (source == "-") {
        return typedPassword(error);
    }
    std::ifstream file(source);
    std::string line;
    if (!std::getline(file, line)) {
        error = "the password cannot be read from " + source;
        return std::nullopt;
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

} // namespace devserver
