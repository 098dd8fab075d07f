// SPDX-License-Identifier: MIT
#pragma once

#include "platform/shared/ModalWork.h"
#include "platform/shared/StatusView.h"

#include <memory>

namespace platform {

/// What of a user interface with a window and modal alerts is no call of its platform.
class ModalUserInterface : public UserInterface {
public:
    explicit ModalUserInterface(std::shared_ptr<ModalWork> modalWork)
        : m_modalWork(std::move(modalWork)) { }

    NSTextView* statusTextView() final;
    int runModal(const NSAlert& alert) final;
    /// Nothing but a web page.
    bool openURL(const std::string& url) final;
    /// None: whatever holds keys there asks for itself.
    std::optional<std::string> askForPassword(const std::string&, bool) final { return {}; }
    /// The main window's title names the server; "" for none.
    void showServer(const std::string& server);
    /// As `Trust` has it.
    bool agrees(const NSAlert& question);

protected:
    /// Opens the main window, once; what it returns appends to its text.
    virtual StatusView::Append openMainWindow() = 0;
    virtual void setTitle(const std::string& title) = 0;
    /// Shows an alert on the main thread until it is answered. In a guarded one the last button is
    /// the answer to the keys, and the others can be pressed only after `guardedFor`.
    virtual long show(const NSAlert& alert, bool isGuarded) = 0;
    virtual bool openPage(const std::string& url) = 0;

private:
    const std::shared_ptr<ModalWork> m_modalWork;
    std::unique_ptr<StatusView> m_statusView;
};

} // namespace platform
