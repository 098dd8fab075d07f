// SPDX-License-Identifier: MIT
// The platform of Linux: the desktop shell where a display is named and can be opened, otherwise
// the terminal shell.
#include "BundleInfo.h"
#include "platform/Platform.h"
#include "platform/Trust.h"
#include "platform/linux/BootClock.h"
#include "platform/linux/CommandLineAnswer.h"
#include "platform/linux/DesktopModule.h"
#include "platform/linux/DesktopRegistration.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LinuxSystem.h"
#include "platform/linux/PolicyFile.h"
#include "platform/linux/PrivateMemory.h"
#include "platform/linux/SideWork.h"
#include "platform/linux/TerminalUserInterface.h"
#include "platform/linux/net/LinuxNetwork.h"
#include "platform/linux/security/NssSecurity.h"
#include "platform/shared/LaterWork.h"
#include "platform/shared/StandardStreams.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace platform {

namespace {

std::string userAgent() {
    return "Quillet/" + std::string(bundleVersion);
}

class AgentHost : public DesktopHost {
public:
    AgentHost(LinuxApplication& application, LinuxSystem& system)
        : m_application(application)
        , m_system(system) { }

    void runModally(const std::function<void()>& work) override { m_application.runModally(work); }
    void openURL(std::function<std::optional<std::string>()> take) override {
        m_application.openURL(std::move(take));
    }
    void windowClosed() override { m_application.stop(EXIT_SUCCESS); }
    void log(std::string_view line) override {
        const LogPiece piece(line);
        m_system.NSLog({&piece, 1});
    }

private:
    LinuxApplication& m_application;
    LinuxSystem& m_system;
};

/// "identities [--unlock]": prints what the keychain finds, instead of running.
constexpr const char* identitiesArgument = "identities";
constexpr const char* unlockOption = "--unlock";

bool wantsIdentities(const std::vector<std::string>& arguments) {
    return arguments.size() > 1 && arguments[1] == identitiesArgument;
}

class AgentApplication final : public LinuxApplication {
public:
    /// What is done in the place of a run.
    void setCommand(std::function<int()> command) { m_command = std::move(command); }

    int run(NSApplicationDelegate& delegate) override {
        return m_command ? m_command() : LinuxApplication::run(delegate);
    }

private:
    std::function<int()> m_command;
};

/// Whether the user started the program for one link, so that it is not the one that others go to.
bool hasLink(const std::vector<std::string>& arguments) {
    return arguments.size() > 1 && arguments[1].starts_with(std::string(urlScheme) + "://");
}

/// The link that the desktop started the program for, by the command in its desktop entry. It comes
/// as a URL event, as any other link of the desktop's.
std::optional<std::string> linkOfDesktop(const std::vector<std::string>& arguments) {
    return arguments.size() > 2 && arguments[1] == "--link" ? std::optional(arguments[2])
                                                            : std::nullopt;
}

/// Becomes the program whose turn it is to serve a link of the desktop's, if that is another one.
void yieldLinkOfDesktop(int argc, char** argv) {
    if (!linkOfDesktop({argv, argv + argc})) {
        return;
    }
    if (const auto program = programToYieldTo(std::string(bundleIdentifier))) {
        std::string name = program->string();
        std::vector<char*> words(argv, argv + argc);
        words.front() = name.data();
        words.push_back(nullptr);
        execv(name.c_str(), words.data()); // when it fails, this program serves the link
    }
}

/// Whether the program only writes a report, for which it needs no window.
bool isForTerminal(const std::vector<std::string>& arguments) {
    return wantsIdentities(arguments) || (arguments.size() > 1 && arguments[1] == "policy");
}

class LinuxPlatform : public Platform, public Trust {
public:
    LinuxPlatform(int argc, char** argv)
        : m_system(argc, argv)
        , m_host(m_application, m_system)
        , m_terminal(m_application)
        , m_desktop(openDesktopIfDisplayed())
        , m_sideWork(m_application, [this](const std::string& line) { show(line); },
              std::string("Taking the card out may help. ")
                  + (m_desktop ? "Closing this window" : "Control-C") + " ends the session.",
              {})
        , m_security(userInterface(), KeychainSources::ofUser(), keychainHost())
        , m_network(m_application, {.userAgent = userAgent()}) {
        m_application.setNetwork(&m_network);
        if (wantsIdentities(m_system.arguments())) {
            m_application.setCommand([this] { return printIdentities(); });
        }
        m_security.setSessionEnd([this] { m_application.stop(EXIT_SUCCESS); });
        if (hasLink(m_system.arguments())) {
            m_network.prepare();
        }
        if (m_desktop) {
            m_application.setMainLoop(&m_desktop->mainLoop());
        }
    }
    ~LinuxPlatform() override {
        m_application.setNetwork(nullptr);
        m_application.setMainLoop(nullptr);
    }

    Application& application() override { return m_application; }
    UserInterface& userInterface() override {
        return m_desktop ? static_cast<UserInterface&>(*m_desktop) : m_terminal;
    }
    System& system() override { return m_system; }
    Security& security() override { return m_security; }
    Network& network() override { return m_network; }

    ManagedPolicy managedPolicy() override { return readPolicyFile(policyFolder, policyFileName); }
    std::optional<NetworkHost> hostToConnect(const std::string& host) override {
        return linux_::LinuxNetwork::hostToConnect(host);
    }
    void setConnectionRule(ConnectionRule rule) override {
        m_network.setConnectionRule(std::move(rule));
    }
    bool agrees(const NSAlert& question) override {
        return m_desktop ? m_desktop->agrees(question) : m_terminal.agrees(question);
    }
    void beginSession(
        const std::string& server, const std::function<std::string()>& roomCode) override {
        m_security.beginSession();
        m_terminal.showServer(server);
        if (m_desktop) {
            m_desktop->showServer(server, roomCode());
        }
    }
    void lockTokens() override { m_security.lock(); }
    void later(std::chrono::milliseconds time, std::function<void()> work) override {
        m_later.set(time, std::move(work));
    }

private:
    std::unique_ptr<DesktopShell> openDesktopIfDisplayed() {
        const std::optional<std::string> link = linkOfDesktop(m_system.arguments());
        const bool hasWindow = isDisplayNamed() && !isForTerminal(m_system.arguments());
        auto desktop = hasWindow ? openDesktopFor(link) : nullptr;
        if (link) {
            m_application.openURL(*link);
        }
        return desktop;
    }

    std::unique_ptr<DesktopShell> openDesktopFor(const std::optional<std::string>& link) {
        DesktopOutcome outcome;
        auto desktop = openDesktop(m_host, {std::string(bundleIdentifier), link}, outcome);
        if (outcome.isLinkHandedOver) {
            std::exit(EXIT_SUCCESS);
        }
        // The first work after the launch, when the log has its file and links have their handler.
        if (!desktop) {
            m_application.performOnMainThread(
                [this, problem = outcome.problem] { m_host.log("No window, because " + problem); });
        } else if (!hasLink(m_system.arguments())) {
            m_application.performOnMainThread([this] { m_desktop->acceptLinks(); });
        }
        return desktop;
    }

    KeychainHost keychainHost() {
        return {.log = [this](const std::string& line) { m_host.log(line); },
            .notice
            = [this](const std::string& line) { m_application.runModally([&] { show(line); }); },
            .aside = [this](const auto& waitingFor,
                         const auto& work) { m_sideWork.run(waitingFor, work); },
            .certificateInUse =
                [this](const std::string& subject) {
                    m_terminal.showCertificate(subject);
                    if (m_desktop) {
                        m_desktop->showCertificate(subject);
                    }
                }};
    }

    int printIdentities() {
        const std::vector<std::string> arguments = m_system.arguments();
        const bool unlock = arguments.size() > 2 && arguments[2] == unlockOption;
        m_security.SecKeychainSetUserInteractionAllowed(unlock);
        m_terminal.statusTextView()->textStorage()->append(m_security.report(unlock));
        return EXIT_SUCCESS;
    }

    void show(const std::string& line) {
        NSTextView* view = userInterface().statusTextView();
        NSTextStorage* text = view == nullptr ? nullptr : view->textStorage();
        if (text != nullptr) {
            text->append(line + "\n");
        }
    }

    AgentApplication m_application;
    LinuxSystem m_system;
    AgentHost m_host;
    TerminalUserInterface m_terminal;
    std::unique_ptr<DesktopShell> m_desktop;
    SideWork m_sideWork;
    NssSecurity m_security;
    linux_::LinuxNetwork m_network;
    BootClock m_clock;
    LaterWork m_later{m_clock, [this](auto work) { m_application.performOnMainThread(work); }};
};

} // namespace

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    openStandardStreams();
    keepMemoryPrivate();
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    if (const auto answer = commandLineAnswer({argv, argv + argc})) {
        writeAll(STDOUT_FILENO, *answer);
        std::exit(EXIT_SUCCESS);
    }
    yieldLinkOfDesktop(argc, argv);
    return std::make_unique<LinuxPlatform>(argc, argv);
}

} // namespace platform
