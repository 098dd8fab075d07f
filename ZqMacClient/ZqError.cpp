// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqError.h"

#include "platform/Platform.h"

#include <cstdlib>
#include <utility>

using platform::NSLog;

ZqError::ZqError(std::string message, std::string details, platform::NSAlertStyle style)
    : m_loggedMessage(message)
    , m_loggedDetails(details) {
    m_alert.messageText = std::move(message);
    m_alert.informativeText = std::move(details);
    m_alert.alertStyle = style;
}

ZqError& ZqError::logAs(std::string message, std::string details) {
    m_loggedMessage = std::move(message);
    m_loggedDetails = std::move(details);
    return *this;
}

void ZqError::show() const {
    NSLog("Message: ", m_loggedMessage, ", details: ", m_loggedDetails);
    platform::current().userInterface().runModal(m_alert);
}

void ZqError::showAndExit() const {
    NSLog("FATAL ERROR: ", m_loggedMessage, ", details: ", m_loggedDetails);
    platform::NSAlert last = m_alert;
    last.endsProgram = true;
    platform::current().userInterface().runModal(last);
    NSLog("Exiting application after fatal error");
    platform::exitProcess(EXIT_FAILURE);
}
