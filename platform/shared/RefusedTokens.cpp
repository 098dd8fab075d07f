// SPDX-License-Identifier: MIT
#include "platform/shared/RefusedTokens.h"

#include "platform/UserInterface.h"

#include <utility>

namespace platform {

namespace {

NSAlert endAlert(const std::string& tokenName) {
    return {"The password of \"" + tokenName + "\" was not given",
        "The server asks for it again. In this session you are not asked any more.",
        NSAlertStyle::informational, {"End the session", "Go on without it"}};
}

} // namespace

void RefusedTokens::beginSession() {
    m_names.clear();
    m_hasOfferedEnd = false;
}

bool RefusedTokens::contains(const std::string& tokenName) {
    if (!m_names.contains(tokenName)) {
        return false;
    }
    if (!std::exchange(m_hasOfferedEnd, true) && m_end
        && m_userInterface.runModal(endAlert(tokenName)) == NSAlertFirstButtonReturn) {
        m_end();
    }
    return true;
}

} // namespace platform
