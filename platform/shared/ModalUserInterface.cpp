// SPDX-License-Identifier: MIT
#include "platform/shared/ModalUserInterface.h"

#include "platform/shared/WebPage.h"

namespace platform {

NSTextView* ModalUserInterface::statusTextView() {
    if (!m_statusView) {
        m_statusView = std::make_unique<StatusView>(openMainWindow());
    }
    return m_statusView.get();
}

int ModalUserInterface::runModal(const NSAlert& alert) {
    long response = 0;
    m_modalWork->run([&] { response = show(alert, false); });
    return static_cast<int>(response);
}

bool ModalUserInterface::openURL(const std::string& url) {
    return isWebPage(url) && openPage(url);
}

void ModalUserInterface::showServer(const std::string& server) {
    setTitle(server.empty() ? "Quillet" : server + " - Quillet");
}

bool ModalUserInterface::agrees(const NSAlert& question) {
    long response = 0;
    m_modalWork->run([&] { response = show(question, true); });
    return response == NSAlertFirstButtonReturn;
}

} // namespace platform
