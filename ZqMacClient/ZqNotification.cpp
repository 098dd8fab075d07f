// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqNotification.h"

#include "ZqMacClient/ViewController.h"
#include "platform/Platform.h"

#include <utility>

ZqNotification::ZqNotification(std::string message, std::string details) {
    m_notification.title = std::move(message);
    m_notification.informativeText = std::move(details);
}

void ZqNotification::show() const {
    if (ViewController::viewController != nullptr) {
        if (!m_notification.title) {
            platform::fatalError("a notification has no title");
        }
        ViewController::viewController->appendText(*m_notification.title);
    }
    platform::current().userInterface().deliverNotification(m_notification);
}
