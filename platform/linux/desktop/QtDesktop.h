// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/DesktopShell.h"
#include "platform/linux/desktop/QtMainLoop.h"

#include <memory>

namespace platform {

struct Activation;

/// The shell of a desktop: a window with the status view, dialogs, notifications, and links from
/// the session bus.
class QtDesktop final : public DesktopShell {
public:
    /// `displayPlugin` names a Qt platform plugin that can be used for certain.
    QtDesktop(DesktopHost& host, const std::string& identifier, const std::string& displayPlugin);
    ~QtDesktop() override;

    /// Hands a link to another agent if there is one that waits; else this one accepts links.
    bool handOver(const std::string& url, const Activation& activation);
    /// Shows the window.
    void show();

    MainLoop& mainLoop() override { return m_loop; }
    bool agrees(const NSAlert& question) override;
    void acceptLinks() override;
    void showServer(const std::string& server, const std::string& roomCode) override;
    void showCertificate(const std::string& subject) override { m_certificate = subject; }

    NSTextView* statusTextView() override;
    int runModal(const NSAlert& alert) override;
    void deliverNotification(const NSUserNotification& notification) override;
    bool openURL(const std::string& url) override;
    std::optional<std::string> askForPassword(const std::string& tokenName, bool again) override;

private:
    void tellEnd();
    void closeWindows();

    struct Windows;

    DesktopHost& m_host;
    std::string m_server; // of the session
    std::string m_roomCode; // of the session
    std::string m_certificate; // that signs, by its subject
    bool m_hasAsked = false; // or told in an alert, in this session
    std::string m_step; // of it, that the user was told last
    QtMainLoop m_loop; // may still be woken when the windows are gone
    std::unique_ptr<Windows> m_windows;
};

} // namespace platform
