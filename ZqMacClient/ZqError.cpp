// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqError.h"

#include "platform/Platform.h"

#include <cstdlib>
#include <utility>

using platform::NSLog;

ZqError::ZqError(std::string message, std::string details, platform::NSAlertStyle style) {
    m_alert.messageText = std::move(message);
    m_alert.informativeText = std::move(details);
    m_alert.alertStyle = style;
}

void ZqError::show() const {
    NSLog("Message: ", m_alert.messageText, ", details: ", m_alert.informativeText);
    platform::current().userInterface().runModal(m_alert);
}

void ZqError::showAndExit() const {
    NSLog("FATAL ERROR: ", m_alert.messageText, ", details: ", m_alert.informativeText);
    platform::NSAlert last = m_alert;
    last.endsProgram = true;
    platform::current().userInterface().runModal(last);
    NSLog("Exiting application after fatal error");
    platform::exitProcess(EXIT_FAILURE);
}
