// SPDX-License-Identifier: MIT
#include "platform/linux/TerminalUserInterface.h"

#include "platform/Trust.h"
#include "platform/linux/EchoOff.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LinuxSystem.h"
#include "platform/linux/WebPage.h"
#include "platform/shared/TerminalText.h"

#include <cerrno>
#include <chrono>
#include <termios.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::size_t longestPassword = 4096; // a terminal's line is no longer

void show(const std::string& text) {
    writeAll(STDOUT_FILENO, text);
}

/// Fills `line` with a line of standard input without its end; false when the input ended first.
/// Takes no byte beyond the line, which belongs to the next question.
bool readWholeLine(std::string& line) {
    char c = '\0';
    while (true) {
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        if (c == '\n') {
            return true;
        }
        line += c;
    }
}

/// The same where the last line may lack its end; false at the end of input.
bool readLine(std::string& line) {
    return readWholeLine(line) || !line.empty();
}

std::string alertText(const NSAlert& alert) {
    const bool isCritical = alert.alertStyle == NSAlertStyle::critical;
    std::string text = isCritical ? "\n*** " : "\n--- ";
    text += displayable(alert.messageText) + "\n";
    if (!alert.informativeText.empty()) {
        text += displayable(alert.informativeText) + "\n";
    }
    return text;
}

std::string choicesOf(const std::vector<std::string>& buttons) {
    std::string text;
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        text += "  " + std::to_string(i + 1) + ") " + displayable(buttons[i]) + "\n";
    }
    return text + "Your choice (1-" + std::to_string(buttons.size()) + "): ";
}

/// The index that an answer names, counted from 1; that of the last button for all else.
std::size_t indexOf(const std::string& answer, std::size_t buttons) {
    for (std::size_t i = 0; i < buttons; ++i) {
        if (answer == std::to_string(i + 1)) {
            return i;
        }
    }
    return buttons - 1;
}

std::size_t chosenButton(const NSAlert& alert) {
    show(choicesOf(alert.buttons));
    std::string answer;
    readLine(answer);
    return indexOf(answer, alert.buttons.size());
}

/// What was typed before the question stood long enough to be read agrees to nothing.
std::size_t chosenWhenGuarded(const NSAlert& alert) {
    const auto readableFrom = std::chrono::steady_clock::now() + guardedFor;
    const std::size_t last = alert.buttons.size() - 1;
    tcflush(STDIN_FILENO, TCIFLUSH); // of a terminal
    show(choicesOf(alert.buttons));
    while (true) {
        std::string answer;
        const bool isWhole = readWholeLine(answer);
        const std::size_t index = indexOf(answer, alert.buttons.size());
        if (!isWhole || index == last) {
            return last;
        }
        if (std::chrono::steady_clock::now() >= readableFrom) {
            return index;
        }
        show("That was too fast to have read the question. Your choice: ");
    }
}

} // namespace

TerminalUserInterface::TerminalUserInterface(LinuxApplication& application)
    : m_application(application) {
}

void TerminalUserInterface::StatusTextStorage::append(std::string_view text) {
    show(displayable(text));
}

int TerminalUserInterface::runModal(const NSAlert& alert) {
    int response = NSAlertFirstButtonReturn;
    m_application.runModally([&] {
        show(alertText(alert));
        if (alert.buttons.empty()) {
            show("Press Enter to continue. ");
            std::string line;
            readLine(line);
            show("\n");
        } else {
            response += static_cast<int>(chosenButton(alert));
            show("\n");
        }
    });
    return response;
}

bool TerminalUserInterface::agrees(const NSAlert& question) {
    std::size_t chosen = 0;
    m_application.runModally([&] {
        show(alertText(question));
        chosen = chosenWhenGuarded(question);
        show("\n");
    });
    return chosen == 0;
}

void TerminalUserInterface::deliverNotification(const NSUserNotification&) {
    // A terminal has no notification centre; the title stands in the status lines already.
}

bool TerminalUserInterface::openURL(const std::string& url) {
    return openWebPage(url);
}

std::optional<std::string> TerminalUserInterface::askForPassword(
    const std::string& tokenName, bool again) {
    // Filled in place and never moved to a larger room: no copy of it is left behind.
    std::optional<std::string> password(std::in_place);
    password->reserve(longestPassword);
    m_application.runModally([&] {
        const EchoOff echoOff; // before the question, so that no early key is seen
        show(std::string(again ? "\nThat password is wrong.\n" : "\n") + "Password of \""
            + displayable(tokenName) + "\""
            + (m_certificate.empty() ? "" : " to sign with the certificate of ")
            + displayable(m_certificate) + (m_server.empty() ? "" : " for the server ")
            + displayable(m_server) + " (empty to cancel): ");
        if (!readLine(*password)) {
            password->clear();
        }
    });
    if (password->empty()) {
        password.reset();
    }
    return password;
}

} // namespace platform
