// SPDX-License-Identifier: MIT
// Alerts, prompts and passwords in a terminal, over a pair of pipes and over a real one.
#include "platform/linux/TerminalUserInterface.h"
#include "platform/linux/LinuxApplication.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using platform::NSAlert;
using platform::NSAlertStyle;
using testing::HasSubstr;

namespace {

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 1024> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}

/// A terminal, a process in front of it, and the test as its user.
class TerminalWithUser {
public:
    /// The process ends with 0 when `use` of the terminal gives true.
    explicit TerminalWithUser(const std::function<bool(platform::TerminalUserInterface&)>& use)
        : m_user(posix_openpt(O_RDWR | O_NOCTTY)) {
        EXPECT_EQ(grantpt(m_user), 0);
        EXPECT_EQ(unlockpt(m_user), 0);
        m_terminal = open(ptsname(m_user), O_RDWR | O_NOCTTY);
        EXPECT_GE(m_terminal, 0);
        m_process = fork();
        if (m_process == 0) {
            setsid();
            ioctl(m_terminal, TIOCSCTTY, 0);
            dup2(m_terminal, STDIN_FILENO);
            dup2(m_terminal, STDOUT_FILENO);
            platform::LinuxApplication application;
            platform::TerminalUserInterface userInterface(application);
            _exit(use(userInterface) ? 0 : 1);
        }
    }
    TerminalWithUser(const TerminalWithUser&) = delete;
    TerminalWithUser& operator=(const TerminalWithUser&) = delete;
    ~TerminalWithUser() {
        close(m_terminal);
        close(m_user);
    }

    std::string seenUpTo(const std::string& text) {
        std::string seen;
        while (seen.find(text) == std::string::npos) {
            std::array<char, 256> buffer{};
            const ssize_t length = read(m_user, buffer.data(), buffer.size());
            if (length <= 0) {
                ADD_FAILURE() << "the terminal shows only: " << seen;
                break;
            }
            seen.append(buffer.data(), static_cast<std::size_t>(length));
        }
        return seen;
    }
    /// All that there is to see now.
    std::string seen() {
        fcntl(m_user, F_SETFL, O_NONBLOCK);
        return readAll(m_user);
    }
    void type(std::string_view keys) {
        EXPECT_EQ(write(m_user, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    bool isEchoed() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(m_terminal, &settings), 0);
        return (settings.c_lflag & ECHO) != 0;
    }
    /// The process's status, as it is waited for.
    int waitForEnd() {
        int status = -1;
        EXPECT_EQ(waitpid(m_process, &status, 0), m_process);
        return status;
    }

private:
    int m_user;
    int m_terminal = -1;
    pid_t m_process = -1;
};

/// What `use` writes to standard output when standard input holds `input`.
std::string terminalOutput(
    const std::string& input, const std::function<void(platform::TerminalUserInterface&)>& use) {
    std::array<int, 2> in{}, out{};
    EXPECT_EQ(pipe(in.data()), 0);
    EXPECT_EQ(pipe(out.data()), 0);
    EXPECT_EQ(write(in[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    close(in[1]);
    const int savedInput = dup(STDIN_FILENO);
    const int savedOutput = dup(STDOUT_FILENO);
    std::fflush(stdout);
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    {
        platform::LinuxApplication application;
        platform::TerminalUserInterface userInterface(application);
        use(userInterface);
    }
    dup2(savedInput, STDIN_FILENO);
    dup2(savedOutput, STDOUT_FILENO);
    for (const int descriptor : {in[0], out[1], savedInput, savedOutput}) {
        close(descriptor);
    }
    std::string text = readAll(out[0]);
    close(out[0]);
    return text;
}

int responseTo(const std::string& input) {
    int response = 0;
    terminalOutput(input, [&](auto& terminal) {
        response = terminal.runModal(
            {"message", "details", NSAlertStyle::informational, {"First", "Second"}});
    });
    return response;
}

} // namespace

TEST(TerminalUserInterfaceTest, StatusTextIsWrittenAsItStands) {
    EXPECT_EQ(terminalOutput("",
                  [](auto& terminal) {
                      terminal.statusTextView()->textStorage()->append("100 %s\tcaf\xC3\xA9\n\n");
                  }),
        "100 %s\tcaf\xC3\xA9\n\n");
}

TEST(TerminalUserInterfaceTest, ControlCharactersAndIllFormedTextAreShownAsReplacements) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(terminalOutput("",
                  [](auto& terminal) {
                      terminal.statusTextView()->textStorage()->append(
                          "\x1b[31m\x7f\r\xC2\x9B\xC2\xA0\xff");
                  }),
        replacement + "[31m" + replacement + replacement + replacement + "\xC2\xA0" + replacement);
}

TEST(TerminalUserInterfaceTest, AlertShowsItsStyleMessageAndDetailsAndTakesOneLine) {
    const std::string text = terminalOutput("\nrest\n", [](auto& terminal) {
        terminal.runModal({"message", "details\nin two lines", NSAlertStyle::critical, {}});
        terminal.runModal({"second", "", NSAlertStyle::informational, {}});
    });
    EXPECT_EQ(text,
        "\n*** message\ndetails\nin two lines\nPress Enter to continue. \n"
        "\n--- second\nPress Enter to continue. \n");
}

TEST(TerminalUserInterfaceTest, EndOfInputDismissesAnAlert) {
    EXPECT_THAT(terminalOutput("",
                    [](auto& terminal) {
                        terminal.runModal({"m", "d", {}, {}});
                    }),
        HasSubstr("Press Enter"));
}

TEST(TerminalUserInterfaceTest, OneIsTheFirstButtonAndAnythingElseTheLast) {
    EXPECT_EQ(responseTo("1\n"), 1000);
    for (const char* input : {"2\n", "\n", "", "1x\n", " 1\n", "yes\n", "10\n", "-1\n"}) {
        EXPECT_EQ(responseTo(input), 1001) << input;
    }
    EXPECT_EQ(responseTo("1"), 1000);
}

TEST(TerminalUserInterfaceTest, PasswordIsTheLineAndAnEmptyOneCancels) {
    std::optional<std::string> given, empty, none;
    const std::string text = terminalOutput("p\xC3\xA4ss word\n\n", [&](auto& terminal) {
        given = terminal.askForPassword("NSS Certificate DB", false);
        empty = terminal.askForPassword("NSS Certificate DB", true);
        none = terminal.askForPassword("NSS Certificate DB", true);
    });
    EXPECT_EQ(given, "p\xC3\xA4ss word");
    EXPECT_FALSE(empty.has_value());
    EXPECT_FALSE(none.has_value());
    EXPECT_THAT(text, HasSubstr("Password of \"NSS Certificate DB\" (empty to cancel): "));
    EXPECT_THAT(text, HasSubstr("That password is wrong."));
    EXPECT_EQ(text.find("word\n\n"), std::string::npos);
}

TEST(TerminalUserInterfaceTest, PasswordIsNotEchoedByATerminal) {
    TerminalWithUser user([](auto& terminal) {
        const auto password = terminal.askForPassword("token", false);
        termios after{};
        tcgetattr(STDIN_FILENO, &after);
        return password == "secret" && (after.c_lflag & ECHO) != 0;
    });
    std::string seen = user.seenUpTo("cancel): ");
    user.type("secret\n");
    EXPECT_EQ(user.waitForEnd(), 0);
    seen += user.seen();
    EXPECT_EQ(seen.find("secret"), std::string::npos) << seen;
}

TEST(TerminalUserInterfaceTest, PasswordIsAskedForInTheNameOfTheServer) {
    const std::string text = terminalOutput("\n", [&](auto& terminal) {
        terminal.showServer("sign.example:8443");
        terminal.askForPassword("token", false);
    });
    EXPECT_THAT(text,
        HasSubstr("Password of \"token\" for the server sign.example:8443 (empty to cancel): "));
}

TEST(TerminalUserInterfaceTest, CertificateThatSignsIsNamedWhereItsPasswordIsAskedFor) {
    const std::string text = terminalOutput("\n\n", [&](auto& terminal) {
        terminal.showCertificate("Anna\x1b Example");
        terminal.askForPassword("token", false);
        terminal.showCertificate("");
        terminal.askForPassword("card", false);
    });
    EXPECT_THAT(text,
        HasSubstr("Password of \"token\" to sign with the certificate of Anna\xEF\xBF\xBD Example "
                  "(empty to cancel): "));
    EXPECT_THAT(text, HasSubstr("Password of \"card\" (empty to cancel): "));
}

TEST(TerminalUserInterfaceTest, ControlCAtAPasswordBringsTheEchoBack) {
    TerminalWithUser user([](auto& terminal) {
        terminal.askForPassword("token", false);
        return true;
    });
    user.seenUpTo("cancel): ");
    EXPECT_FALSE(user.isEchoed());
    user.type("\x03");
    const int status = user.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    EXPECT_TRUE(user.isEchoed());
}

TEST(TerminalUserInterfaceTest, OnlyWebAddressesAreHandedToTheDesktop) {
    setenv("PATH", "/nowhere", 1);
    platform::LinuxApplication application;
    platform::TerminalUserInterface terminal(application);
    for (const char* url : {"file:///etc/passwd", "--help", "javascript:1", "https://", "x"}) {
        EXPECT_FALSE(terminal.openURL(url)) << url;
    }
    EXPECT_FALSE(terminal.openURL("https://example.org")); // there is no xdg-open
}
