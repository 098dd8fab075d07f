// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

namespace platform {

class LinuxApplication;

/// The shell of a terminal: status lines on standard output, alerts and prompts answered by lines
/// of standard input. What is shown never carries control characters to the terminal.
class TerminalUserInterface : public UserInterface {
public:
    explicit TerminalUserInterface(LinuxApplication& application);

    /// Names the server of the session wherever a password is asked for.
    void showServer(const std::string& server) { m_server = server; }

    /// Names the certificate that signs, by its subject, there; empty when none does.
    void showCertificate(const std::string& subject) { m_certificate = subject; }

    NSTextView* statusTextView() override { return &m_statusTextView; }
    int runModal(const NSAlert& alert) override;
    /// As `Trust` has it.
    bool agrees(const NSAlert& question);
    void deliverNotification(const NSUserNotification& notification) override;
    bool openURL(const std::string& url) override;
    std::optional<std::string> askForPassword(const std::string& tokenName, bool again) override;

private:
    class StatusTextStorage : public NSTextStorage {
    public:
        void append(std::string_view text) override;
    };
    class StatusTextView : public NSTextView {
    public:
        NSTextStorage* textStorage() override { return &m_storage; }

    private:
        StatusTextStorage m_storage;
    };

    LinuxApplication& m_application;
    StatusTextView m_statusTextView;
    std::string m_server; // or empty
    std::string m_certificate; // or empty
};

} // namespace platform
